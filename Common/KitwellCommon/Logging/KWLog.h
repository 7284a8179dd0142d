#pragma once

#include <string_view>

#include "KitwellCommon/Export.h"
#include "KitwellPlatform/Logging/Log.h"
#include "KitwellPlatform/Values/Text.h"

namespace kitwell {

// Writes one log line: a format text ("%@" for a text, "%d", "%lx" … for numbers) filled with its arguments.
// Lines have no level. Any thread.
template <class... Arguments>
void KWLogVariadic(std::string_view format, const Arguments&... arguments) {
    platform::writeLogLine(platform::formatText(format, arguments...));
}

// Whether lines meant for diagnosis are wanted: the environment variable KITWELL_EXTENDED_LOGGING is set and
// not "0", or the application's own preference "ExtendedLogging" is true. Asked once in the life of a
// process. Any thread.
KITWELL_API bool KWIsExtendedLoggingOn();

} // namespace kitwell
