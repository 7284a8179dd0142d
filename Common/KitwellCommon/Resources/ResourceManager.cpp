#include "KitwellCommon/Resources/ResourceManager.h"

#include "KitwellCommon/Logging/KWLog.h"
#include "KitwellCommon/Resources/SharedResource.h"
#include "KitwellCommon/Resources/VersionManager.h"
#include "KitwellCommon/SharedState/AppGroup.h"
#include "KitwellPlatform/Files/ContainedFolder.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Values/Date.h"

namespace kitwell {

using platform::Bundle;
using platform::ContainedFolder;
using platform::Result;

namespace {

constexpr char kResourcesFolder[] = "Resources";
constexpr std::uint32_t kExecutableMode = 0755;

const Bundle* knownBundle(std::string_view bundleId) {
    return Bundle::main().identifier() == bundleId ? &Bundle::main() : nullptr;
}

bool holdsControlCharacters(std::string_view text) {
    while (!text.empty() && platform::leadingControlCharacter(text) == 0)
        text.remove_prefix(1);
    return !text.empty();
}

// The registry keeps names as text, and logs and lists show them.
bool isUsableName(std::string_view name) {
    return platform::isPlainFileName(name) && platform::isValidUtf8(name) && !holdsControlCharacters(name);
}

Result<ContainedFolder> createFolder(std::string_view bundleId) {
    const auto container = platform::SearchPaths::groupContainer(kAppGroupIdentifier);
    if (!container)
        return container.error();
    return ContainedFolder::create(*container, {kResourcesFolder, bundleId});
}

bool isRefused(std::string_view name, std::string_view bundleId) {
    const bool isUsable = isUsableName(name) && isUsableName(bundleId);
    if (!isUsable)
        KWLogVariadic("Resource %@ for %@ is refused: not the name of a file", name, bundleId);
    return !isUsable;
}

// A built-in copy may lie in a folder of its own, but not outside the bundle's resources.
std::string builtInPath(const Bundle* bundle, std::string_view name) {
    const bool isInside = ("/" + std::string(name) + "/").find("/../") == std::string::npos;
    return bundle && isInside ? bundle->resourceUrl(name).path() : "";
}

bool logFailure(std::string_view format, const Result<void>& result) {
    if (!result)
        KWLogVariadic(format, result.error().description);
    return !result;
}

// Path first: who reads in between finds the new path with the old version.
bool registerCopy(std::string_view name, std::string_view bundleId, const std::string& path,
                  const Version& version) {
    SharedResource record(name, bundleId);
    return record.setPath(path) && record.setVersion(version);
}

} // namespace

ResourceChoice ResourceManager::choose(std::string_view name, std::string_view bundleId,
                                       const Bundle* bundle) {
    using enum ResourceChoiceReason;
    const SharedResource record(name, bundleId);
    const Version own = VersionManager::versionFromBundle(bundle);
    const auto builtIn = [&](ResourceChoiceReason reason) {
        return ResourceChoice{reason, own, builtInPath(bundle, name)};
    };
    const auto version = isUsableName(name) ? record.version() : std::nullopt;
    if (!version)
        return builtIn(NoSharedVersion);
    if (*version <= own)
        return builtIn(SharedCopyIsNotNewer);
    const auto path = record.path();
    if (!path || !platform::FileManager::isExecutable(*path))
        return builtIn(SharedCopyIsNotExecutable);
    return {SharedCopyIsNewer, *version, *path};
}

std::string ResourceManager::getMostActualResourcePath(std::string_view name) {
    const Bundle& bundle = Bundle::main();
    const ResourceChoice choice = choose(name, bundle.identifier(), &bundle);
    if (KWIsExtendedLoggingOn())
        KWLogVariadic(choice.isShared() ? "Using shared resource %@ with version %@"
                                        : "Using internal resource %@ with version %@",
                      name, VersionManager::versionToStringReportForm(choice.version));
    return choice.path;
}

Version ResourceManager::getMostActualResourceVersion(std::string_view name, std::string_view bundleId) {
    return choose(name, bundleId, knownBundle(bundleId)).version;
}

void ResourceManager::addResourceFile(const platform::FileUrl& fileUrl, std::string_view name,
                                      const Version& version, std::int64_t resourceType,
                                      std::string_view bundleId) {
    if (isRefused(name, bundleId))
        return;
    auto folder = createFolder(bundleId); // locked until file and record agree
    if (!folder) {
        KWLogVariadic("Error while creating directory: %@", folder.error().description);
        return;
    }
    const std::string backupName =
        platform::formatText("%@_%f.bak", name, platform::Date::now().secondsSinceReference);
    if (logFailure("Error while replacing resource: %@",
                   folder->replaceItem(name, fileUrl.path(), backupName)))
        return;
    if (resourceType == kResourceTypeExecutable &&
        logFailure("Error while setting attributes: %@", folder->setMode(name, kExecutableMode)))
        return;
    if (registerCopy(name, bundleId, folder->pathOf(name), version))
        KWLogVariadic("Resource %@ for %@ is added", name, bundleId);
}

void ResourceManager::setNotifyOnUpdate(bool needsTo, std::string_view name, std::string_view bundleId) {
    if (!isRefused(name, bundleId))
        SharedResource(name, bundleId).setNeedToNotifyOnUpdate(needsTo);
}

void ResourceManager::setNotifyOnUpdate(bool needsTo, std::string_view name) {
    setNotifyOnUpdate(needsTo, name, Bundle::main().identifier());
}

} // namespace kitwell
