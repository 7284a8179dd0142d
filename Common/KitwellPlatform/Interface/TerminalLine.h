#pragma once

#include <string>

#include "KitwellPlatform/Files/FileDescriptor.h"

namespace kitwell::platform {

// Writes the question and reads one line, without its break and the blanks around it, while the run loop goes
// on in the modal mode. What was typed before the question does not answer it; control characters of the
// question are shown as "?". Empty for an empty line, and when the input ended, the line is too long or the
// loop was stopped. A question that is asked meanwhile, from inside a handler, is answered first. `terminal`
// does not block. Main thread.
std::string askForLine(const FileDescriptor& terminal, const std::string& question);

} // namespace kitwell::platform
