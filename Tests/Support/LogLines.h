#pragma once

#include <string>
#include <vector>

#include "KitwellPlatform/Logging/Log.h"

namespace kitwell::test {

// The lines logged while the object lives.
struct LogLines {
    LogLines() {
        platform::setLogSink([this](std::string_view line) { lines.emplace_back(line); });
    }
    ~LogLines() { platform::setLogSink({}); }
    LogLines(const LogLines&) = delete;
    LogLines& operator=(const LogLines&) = delete;

    std::vector<std::string> lines;
};

} // namespace kitwell::test
