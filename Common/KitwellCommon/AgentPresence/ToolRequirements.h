#pragma once

#include "KitwellCommon/Export.h"

namespace kitwell {

// Tells a tool whether it may do its work, for which it may need the agent. A tool declares that need in its
// bundle's information dictionary: the boolean "NeedAgentForWork" in the dictionary "ToolCapabilities". Main
// thread.
class KITWELL_API ToolRequirements {
public:
    ToolRequirements() = delete;

    // False when the user chose to quit rather than to launch the agent, or when it could not be launched.
    // Asks with an AgentAlert when the agent is needed and does not run. Does not wait for the agent's port
    // (launchAgentIfNeeded does), nor does it end the tool.
    static bool checkToolCanRun();
    // With `force` the agent is needed whatever the bundle declares, and is launched without asking.
    static bool checkToolCanRun(bool force);
};

} // namespace kitwell
