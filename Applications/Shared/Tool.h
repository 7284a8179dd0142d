#pragma once

#include "KitwellPlatform/Applications/Application.h"
#include "Shared/Policy.h"
#include "Shared/UsageLog.h"

namespace kitwell::applications {

// The life of a tool that may run: an object of this class, and a record of its use, until the application
// ends. Answers the exit code. Main thread.
template <class Tool>
int runTool() {
    platform::Application& application =
        platform::Application::shared(); // from here on SIGTERM ends it in order
    const UsageLog usage;
    const Tool tool;
    return application.run();
}

} // namespace kitwell::applications
