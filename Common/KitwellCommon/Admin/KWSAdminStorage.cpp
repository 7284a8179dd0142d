#include "KitwellCommon/Admin/KWSAdminStorage.h"

#include <algorithm>

#include "KitwellCommon/Admin/KWSPathHelper.h"
#include "KitwellCommon/Admin/SettingsProtection.h"
#include "KitwellCommon/Logging/KWLog.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Values/Json.h"

namespace kitwell {

using platform::Dictionary;
using platform::Value;

namespace {

constexpr std::uint64_t kOpenOnly = 1;
constexpr std::uint32_t kNewFileMode = 0644; // until it is given to the administrators' group
constexpr std::int64_t kMaxBackupNames = 1000;

// As a person's short answer: "Yes", "true", " +01".
bool truthOfText(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    if (text.starts_with('+') || text.starts_with('-'))
        text.remove_prefix(1);
    text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
    return !text.empty() && std::string_view("YyTt123456789").find(text.front()) != std::string_view::npos;
}

// Who has more rights than those who may plant a symlink must not follow one.
bool prepareFolder(const std::string& folder, std::int64_t& errorCode) {
    const auto attributes = platform::FileManager::attributes(folder);
    platform::Error error;
    if (attributes && attributes->kind == platform::FileManager::Kind::Symlink)
        error = {std::string(kKWSErrorDomain), KWS_ERR_WRITE_SYMLINK, "a symlink stands there"};
    else if (platform::FileManager::folderExists(folder) || KWSPathHelper::createFolderAtPath(folder, error))
        return true;
    KWLogVariadic("Unable to create folder '%@' due error %ld, %@", folder, error.code, error.description);
    errorCode = error.code;
    return false;
}

// The last steps of creating.
std::optional<Dictionary> finishNewFile(const std::string& path, std::int64_t& errorCode) {
    platform::Error error;
    if (KWSPathHelper::setPermissionsToFileAtPath(path, error))
        return KWSAdminStorage::loadAtPath(path, errorCode);
    KWLogVariadic("Unable to set permiss file %@. Error %@", path, error.description);
    errorCode = error.code;
    return std::nullopt;
}

platform::Result<void> writeFile(const std::string& path, const platform::Data& data, bool mayReplace) {
    return platform::replaceFile(
        path, data.bytes(),
        {.followsSymlinks = false, .newMode = kNewFileMode, .mayReplace = mayReplace, .sweepsFolder = true});
}

} // namespace

std::unique_ptr<KWSAdminStorage> KWSAdminStorage::create(std::uint64_t creationFlag,
                                                         std::int64_t& errorCode) {
    errorCode = KWS_ERR_COMMON;
    const std::string path = KWSPathHelper::filePath();
    auto storage = loadAtPath(path, errorCode);
    if (!storage && creationFlag != kOpenOnly)
        storage = errorCode == KWS_ERR_READ_MISSING ? createMissing(path, errorCode)
                                                    : createAtPath(path, errorCode);
    if (!storage)
        return nullptr;
    return std::make_unique<KWSAdminStorage>(KWSAdminStorage(*std::move(storage)));
}

std::optional<Value> KWSAdminStorage::valueForKey(std::string_view key) const {
    const Value* value = storage_.find(key);
    return value ? std::optional(*value) : std::nullopt;
}

bool KWSAdminStorage::boolForKey(std::string_view key) const {
    const Value* value = storage_.find(key);
    if (!value)
        return false;
    const std::string* text = value->asText();
    return text ? truthOfText(*text) : value->truth();
}

void KWSAdminStorage::setValueForKey(std::optional<Value> value, std::string_view key) {
    if (value)
        storage_.set(key, *std::move(value));
    else
        storage_.remove(key);
}

void KWSAdminStorage::setBoolForKey(bool flag, std::string_view key) {
    storage_.set(key, flag);
}

std::int64_t KWSAdminStorage::saveToDisk() const {
    platform::Error error;
    return saveToDiskAtPath(KWSPathHelper::filePath(), storage_, error) ? 0 : error.code;
}

void KWSAdminStorage::resetToRawData(std::optional<Dictionary> data) {
    storage_ = data ? *std::move(data) : Dictionary();
}

std::optional<Dictionary> KWSAdminStorage::loadAtPath(const std::string& path, std::int64_t& errorCode) {
    const auto bytes = platform::readFileUncached(path, kKWSMaxSettingsBytes);
    errorCode = bytes ? 0 : KWSErrorFor(bytes.error(), KWSOperation::Read).code;
    if (!bytes)
        return std::nullopt;
    for (const std::string& fault : settingsProtectionFaults(path))
        KWLogVariadic("Settings are not protected: %@", fault);
    return dictFromData(bytes->bytes(), errorCode);
}

std::optional<Dictionary> KWSAdminStorage::createAtPath(const std::string& path, std::int64_t& errorCode) {
    if (!prepareFolder(platform::folderOf(path), errorCode))
        return std::nullopt;
    if (platform::FileManager::attributes(path))
        moveToBackupThePath(path);
    platform::Error error;
    if (!saveToDiskAtPath(path, {}, error)) {
        errorCode = error.code;
        return std::nullopt;
    }
    return finishNewFile(path, errorCode);
}

// Where nothing stood a moment ago: what another process has made since then is not set aside.
std::optional<Dictionary> KWSAdminStorage::createMissing(const std::string& path, std::int64_t& errorCode) {
    if (!prepareFolder(platform::folderOf(path), errorCode))
        return std::nullopt;
    platform::Error error;
    const auto empty = dataFromDict({}, error);
    if (empty && writeFile(path, *empty, false))
        return finishNewFile(path, errorCode);
    auto made = loadAtPath(path, errorCode);
    return made ? made : createAtPath(path, errorCode);
}

void KWSAdminStorage::moveToBackupThePath(const std::string& path) {
    const auto now = static_cast<std::int64_t>(platform::Date::now().unixTime());
    for (std::int64_t second = now; second < now + kMaxBackupNames; ++second) {
        const auto moved =
            platform::FileManager::moveFile(path, platform::formatText("%@.backup.%ld", path, second));
        if (!moved && second == now)
            KWLogVariadic("Unable to create backup for %@. Error %@", path, moved.error().description);
        if (moved || !platform::isFileExists(moved.error()))
            return;
    }
}

std::optional<Dictionary> KWSAdminStorage::dictFromData(std::span<const std::byte> bytes,
                                                        std::int64_t& errorCode) {
    auto root = platform::parseJson({reinterpret_cast<const char*>(bytes.data()), bytes.size()},
                                    kKWSMaxSettingsBytes);
    Dictionary* dictionary = root ? root->asDictionary() : nullptr;
    if (dictionary)
        return std::move(*dictionary);
    errorCode = root ? KWS_ERR_COMMON : KWSErrorFor(root.error(), KWSOperation::Read).code;
    return std::nullopt;
}

std::optional<platform::Data> KWSAdminStorage::dataFromDict(const Dictionary& dictionary,
                                                            platform::Error& error) {
    auto data = platform::writeJson(dictionary, platform::JsonLayout::Pretty, kKWSMaxSettingsBytes);
    if (!data && data.error().code == static_cast<std::int64_t>(platform::JsonFault::Size))
        data = platform::writeJson(dictionary, platform::JsonLayout::Compact, kKWSMaxSettingsBytes);
    if (!data)
        error = KWSErrorFor(data.error(), KWSOperation::Write);
    return data ? std::optional(*std::move(data)) : std::nullopt;
}

bool KWSAdminStorage::saveToDiskAtPath(const std::string& path, const Dictionary& storage,
                                       platform::Error& error) {
    const auto data = dataFromDict(storage, error);
    bool isWritten = false;
    if (data) {
        const auto written = writeFile(path, *data, true);
        isWritten = static_cast<bool>(written);
        if (!isWritten)
            error = KWSErrorFor(written.error(), KWSOperation::Write);
    }
    if (!isWritten)
        KWLogVariadic("Unable to write into file %@. Error %@", path, error.description);
    return isWritten;
}

} // namespace kitwell
