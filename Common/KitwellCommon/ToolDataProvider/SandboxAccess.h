#pragma once

#include <cstdint>

#include "KitwellCommon/Export.h"
#include "KitwellCommon/Telemetry/CEPInfo.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Interface/OpenPanel.h"

// Access to folders that a tool may not enter by itself: the tool asks the agent, the agent answers from what
// the user granted before or asks the user with an open panel, and answers with a bookmark. The operations
// belong to ToolDataClientProvider (the tool's half) and ToolDataServerProvider (the agent's half); all of
// them stand in SandboxAccess.cpp.

namespace kitwell {

// Options word of a request: bit 0 lets the user choose only the proposed folder itself; all other bits are
// ignored.
inline constexpr std::uint64_t ToolSandboxRestrictToDirectory = 1;

// Special-directory codes: there is one.
inline constexpr std::uint64_t ToolDesktopDirectory = 0;

// Lets a panel enable one place only. Main thread.
class KITWELL_API SandboxDialogDelegate : public platform::OpenPanelDelegate, public CEPInfoHolder {
public:
    explicit SandboxDialogDelegate(platform::FileUrl restrictedUrl) : url_(std::move(restrictedUrl)) {}
    const platform::FileUrl& url() const { return url_; }
    bool panelShouldEnableURL(const platform::OpenPanel& panel, const platform::FileUrl& url) override;

private:
    platform::FileUrl url_;
};

} // namespace kitwell
