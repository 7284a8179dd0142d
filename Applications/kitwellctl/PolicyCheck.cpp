#include "PolicyCheck.h"

#include <algorithm>
#include <system_error>

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Machine/Users.h"
#include "NearestName.h"
#include "Shared/Words.h"

namespace kitwell::applications {

using platform::Dictionary;
using platform::FileManager;
using platform::formatText;
using platform::Value;

namespace {

class PolicyCheck {
public:
    explicit PolicyCheck(std::string path) : path_(std::move(path)) {}

    std::vector<PolicyFinding> run() {
        checkProtection();
        if (!isMissing())
            checkContent();
        return std::move(findings_);
    }

private:
    void add(std::string text, std::optional<platform::JsonPosition> position = std::nullopt) {
        findings_.push_back({position, std::move(text)});
    }

    // A file that cannot be looked at is not missing.
    bool isMissing() const {
        const auto found = FileManager::attributes(path_);
        return !found && found.error().code == static_cast<int>(std::errc::no_such_file_or_directory);
    }
    void checkProtection() {
        for (const std::string& fault : settingsProtectionFaults(path_))
            add(fault);
        checkRights(path_, KWSPathHelper::kFileMode);
        const std::vector<std::string> folders = settingsFolders(path_);
        checkRights(folders.front(), KWSPathHelper::kFolderMode);
        for (const std::string& folder : folders)
            checkEntry(folder);
    }
    void checkEntry(const std::string& folder) {
        constexpr std::uint32_t kOthersMayEnter = 01;
        const auto found = FileManager::attributes(folder);
        if (found && found->kind == FileManager::Kind::Folder && !(found->mode & kOthersMayEnter))
            add(formatText("'%@' may not be entered by every user, so there is no policy for the others",
                           folder));
    }
    void checkRights(const std::string& path, std::uint32_t mode) {
        const auto found = FileManager::attributes(path);
        const auto group = platform::administratorsGroup();
        if (found && (found->mode != mode || (group && found->groupId != *group)))
            add(formatText("'%@' has mode %@ and group %@; it should have %@ and %@", path,
                           octal(found->mode), platform::groupName(found->groupId), octal(mode),
                           group ? platform::groupName(*group) : "that of the administrators"));
    }
    static std::string octal(std::uint32_t mode) {
        std::string digits;
        for (int shift = 9; shift >= 0; shift -= 3)
            digits += static_cast<char>('0' + (mode >> shift & 7U));
        return digits;
    }

    void checkContent() {
        const auto bytes = platform::readFile(path_, kKWSMaxSettingsBytes);
        if (!bytes)
            return add("the file cannot be read, so there is no policy: " + bytes.error().description);
        platform::JsonReport report;
        const auto root = platform::parseJson(bytes->text(), kKWSMaxSettingsBytes, &report);
        for (const auto& duplicate : report.duplicates)
            add(formatText("the key '%@' stands there twice; the last one counts", duplicate.key),
                duplicate.position);
        if (!root)
            return add("the file is not JSON, so there is no policy: " + root.error().description,
                       report.fault);
        if (const Dictionary* settings = root->asDictionary())
            return checkKeys(*settings);
        add("the file holds no JSON object, so there is no policy");
    }
    void checkKeys(const Dictionary& settings) {
        const std::vector<std::string> known{kKWSUpdatesDisabled, kKWSWhiteToolsListKey};
        for (const auto& [key, value] : settings) {
            if (std::find(known.begin(), known.end(), key) == known.end())
                add(formatText("unknown key '%@'%@", key, nearestNameHint(key, known)));
        }
        const Value* updates = settings.find(kKWSUpdatesDisabled);
        if (updates && !updates->asBoolean())
            add(formatText("'%@' is neither true nor false", kKWSUpdatesDisabled));
        if (const Value* list = settings.find(kKWSWhiteToolsListKey))
            checkWhiteList(*list);
    }
    void checkWhiteList(const Value& stored) {
        const platform::Array* list = stored.asArray();
        if (!list)
            return add(
                formatText("'%@' is not an array of names: no tool is allowed", kKWSWhiteToolsListKey));
        const Value predefined(kKWSWhiteToolsList_BusinessToolsetValue);
        if (std::find(list->begin(), list->end(), predefined) != list->end()) {
            if (list->size() > 1)
                add(formatText("'%@' stands among other values, which do not count",
                               kKWSWhiteToolsList_BusinessToolsetValue));
            return;
        }
        if (list->empty())
            add("the list of tools is empty: no tool is allowed");
        for (const Value& element : *list) {
            const std::string* name = element.asText();
            if (name && name->empty())
                continue; // left by two commas in a row, and no name that could be wrong
            const auto fault =
                name ? faultOfToolName(*name) : std::optional("a value in the list is no text");
            if (fault)
                add(*fault);
        }
    }

    std::string path_;
    std::vector<PolicyFinding> findings_;
};

} // namespace

std::vector<PolicyFinding> checkPolicy(const std::string& path) {
    return PolicyCheck(path).run();
}

std::vector<std::string> toolNames() {
    std::vector<std::string> names;
    for (const std::string_view identifier : toolCatalogue())
        names.emplace_back(identifier.substr(kToolIdentifierPrefix.size()));
    return names;
}

std::optional<std::string> faultOfToolName(std::string_view name) {
    const std::vector<std::string> names = toolNames();
    if (std::any_of(names.begin(), names.end(),
                    [name](const auto& known) { return isSameName(known, name); }))
        return std::nullopt;
    return platform::formatText("no tool is named '%@'%@", name, nearestNameHint(name, names));
}

} // namespace kitwell::applications
