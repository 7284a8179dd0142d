#pragma once

#include "KitwellCommon/KitwellCommon.h"

namespace kitwell::applications {

// While it lives, log lines are written under extended logging only: the answer of a command says it better.
struct QuietLog {
    QuietLog() {
        if (!KWIsExtendedLoggingOn())
            platform::setLogSink([](std::string_view) {});
    }
    ~QuietLog() { platform::setLogSink({}); }
    QuietLog(const QuietLog&) = delete;
    QuietLog& operator=(const QuietLog&) = delete;
};

} // namespace kitwell::applications
