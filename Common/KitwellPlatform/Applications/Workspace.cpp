#include "KitwellPlatform/Applications/Workspace.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "KitwellPlatform/Applications/LaunchedPrograms.h"
#include "KitwellPlatform/Applications/RunningApplication.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/SearchPaths.h"

namespace kitwell::platform {

namespace {

constexpr std::string_view kBundleSuffix = ".app";

// The paths are those that the programs themselves will find out, whatever symlinks lead there, each once.
std::vector<std::string> bundlePaths() {
    std::vector<std::string> paths;
    for (const std::string& folder : SearchPaths::applicationFolders()) {
        for (const std::string& name : FileManager::namesInFolder(folder)) {
            std::error_code failure;
            std::string path =
                std::filesystem::canonical(FileUrl(folder).appending(name).path(), failure).string();
            const bool isBundle =
                !failure && path.ends_with(kBundleSuffix) && FileManager::folderExists(path);
            if (isBundle && std::find(paths.begin(), paths.end(), path) == paths.end())
                paths.push_back(std::move(path));
        }
    }
    return paths;
}

std::optional<int> processOfBundle(const std::string& path) {
    const auto running = RunningApplication::all();
    const auto found = std::find_if(running.begin(), running.end(),
                                    [&](const auto& application) { return application.bundlePath == path; });
    return found != running.end() ? std::optional(found->processIdentifier) : std::nullopt;
}

} // namespace

std::vector<Bundle> Workspace::applications() {
    std::vector<Bundle> bundles;
    for (const std::string& path : bundlePaths())
        bundles.emplace_back(FileUrl(path));
    return bundles;
}

std::optional<FileUrl> Workspace::urlForBundleIdentifier(std::string_view identifier) {
    if (identifier.empty()) // a folder without keys is no application
        return std::nullopt;
    for (const std::string& path : bundlePaths()) {
        if (Bundle(FileUrl(path)).identifier() == identifier)
            return FileUrl(path);
    }
    return std::nullopt;
}

Result<int> Workspace::launchApplication(std::string_view bundleIdentifier, LaunchOptions options) {
    const auto running = RunningApplication::withBundleIdentifier(bundleIdentifier);
    if (!bundleIdentifier.empty() && !running.empty())
        return running.front().processIdentifier;
    const auto url = urlForBundleIdentifier(bundleIdentifier);
    if (!url)
        return systemError("find the application " + std::string(bundleIdentifier), ENOENT);
    return launchApplication(*url, options);
}

Result<int> Workspace::launchApplication(const FileUrl& url, LaunchOptions options) {
    std::error_code failure;
    const std::string path = std::filesystem::canonical(url.path(), failure).string();
    if (failure)
        return systemError("find the application " + url.path(), failure.value());
    if (const auto running = processOfBundle(path))
        return *running;
    const std::string executable = Bundle(FileUrl(path)).executableUrl().path();
    if (executable.empty())
        return systemError("start " + path + ", which names no executable", ENOEXEC);
    // It may be too young to have announced itself.
    if (const auto started = LaunchedPrograms::shared().processOf(executable))
        return *started;
    std::vector<std::string> arguments;
    if (options == LaunchOptions::Hidden)
        arguments.emplace_back("--hidden");
    return LaunchedPrograms::shared().start(executable, std::move(arguments));
}

} // namespace kitwell::platform
