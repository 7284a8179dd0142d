#pragma once

#include "Answer.h"

namespace kitwell::applications {

enum class Format { Text, Json };

// Prints the answer and answers the exit code of the program: as JSON to the standard output, or as text,
// where the reason of a failure goes to the standard error. What cannot be printed is a failure.
ExitCode print(const Answer& answer, Format format);
ExitCode printHelp(const std::string& text);

} // namespace kitwell::applications
