#pragma once

#include <string_view>

#include "KitwellPlatform/RunLoop/NotificationCenter.h"
#include "KitwellPlatform/Values/Value.h"

namespace kitwell::applications {

// What a program of the suite records of its own use, unless telemetry is off: "Start" when this is made,
// "Stop" when the application ends in order. Belongs to the main thread, as long as the application runs.
class UsageLog {
public:
    UsageLog();

    // What the person had the program do. Nothing that the person wrote or named belongs here.
    static void action(std::string_view name, const platform::Value& options = {},
                       const platform::Value& details = {});

private:
    platform::NotificationCenter::Subscription end_;
};

} // namespace kitwell::applications
