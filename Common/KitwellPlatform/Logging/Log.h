#pragma once

#include <functional>
#include <string_view>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// Takes one finished line, without line break. May be called on any thread.
using LogSink = std::function<void(std::string_view line)>;

// Writes one whole line with a single write, so that lines of several processes never mix. Under the journal
// the line becomes one journal entry; else it goes to standard error with the program's name and process
// identifier in front. Control characters in the text, line breaks among them, are written as escapes.
PLATFORM_API void writeLogLine(std::string_view text);

// Sends later lines to `sink` instead; an empty sink restores the default. Meant for tests and tools with a
// screen of their own.
PLATFORM_API void setLogSink(LogSink sink);

} // namespace kitwell::platform
