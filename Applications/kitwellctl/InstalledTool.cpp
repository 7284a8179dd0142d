#include "InstalledTool.h"

#include <algorithm>
#include <filesystem>

#include "KitwellPlatform/Applications/RunningApplication.h"
#include "KitwellPlatform/Applications/Workspace.h"
#include "Shared/Words.h"

namespace kitwell::applications {

namespace {

constexpr std::string_view kToolIdentifierPrefix = "com.corvalen.kitwell.";

std::string realPath(const platform::FileUrl& url) {
    std::error_code failure;
    const std::string path = std::filesystem::canonical(url.path(), failure).string();
    return failure ? url.path() : path;
}

} // namespace

bool InstalledTool::isRunning() const {
    const auto running = platform::RunningApplication::withBundleIdentifier(identifier);
    return std::any_of(running.begin(), running.end(),
                       [this](const auto& application) { return application.bundlePath == path; });
}

std::vector<InstalledTool> InstalledTool::all() {
    std::vector<InstalledTool> tools;
    for (const platform::Bundle& bundle : platform::Workspace::applications()) {
        const std::string path = realPath(bundle.bundleUrl());
        const bool isKnown =
            std::any_of(tools.begin(), tools.end(), [&](const auto& tool) { return tool.path == path; });
        if (bundle.identifier().starts_with(kToolIdentifierPrefix) && !isKnown)
            tools.push_back({platform::FileUrl(path).deletingPathExtension().lastPathComponent(),
                             bundle.identifier(), path});
    }
    return tools;
}

Answer forTool(const std::string& name, const std::function<Answer(const InstalledTool&)>& act) {
    for (const InstalledTool& tool : InstalledTool::all()) {
        if (isSameName(tool.name, name))
            return act(tool);
    }
    return Answer::failed("no tool is named " + name);
}

} // namespace kitwell::applications
