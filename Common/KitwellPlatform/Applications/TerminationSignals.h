#pragma once

#include <functional>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"

namespace kitwell::platform {

// Turns the first SIGTERM, SIGINT or SIGHUP into one call on the loop, in any mode; the later ones do
// nothing. The signals stay caught to the end of the process, so that a second one cannot interrupt what the
// first one has brought under way. One object in a process, inside the library only; belongs to the loop's
// thread.
class TerminationSignals {
public:
    TerminationSignals(RunLoop& loop, std::function<void()> handler);
    TerminationSignals(const TerminationSignals&) = delete;
    TerminationSignals& operator=(const TerminationSignals&) = delete;
    ~TerminationSignals();

private:
    FileDescriptor event_;
    RunLoop::Source source_;
};

} // namespace kitwell::platform
