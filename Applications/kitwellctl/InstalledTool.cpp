#include "InstalledTool.h"

#include <algorithm>

#include "KitwellCommon/Admin/ToolCatalogue.h"
#include "KitwellPlatform/Applications/RunningApplication.h"
#include "KitwellPlatform/Applications/Workspace.h"
#include "Shared/Words.h"

namespace kitwell::applications {

bool InstalledTool::isRunning() const {
    const auto running = platform::RunningApplication::withBundleIdentifier(identifier);
    return std::any_of(running.begin(), running.end(),
                       [this](const auto& application) { return application.bundlePath == path; });
}

std::vector<InstalledTool> InstalledTool::all() {
    std::vector<InstalledTool> tools;
    for (const platform::Bundle& bundle : platform::Workspace::applications()) {
        const platform::FileUrl& url = bundle.bundleUrl();
        if (bundle.identifier().starts_with(kToolIdentifierPrefix))
            tools.push_back(
                {url.deletingPathExtension().lastPathComponent(), bundle.identifier(), url.path()});
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
