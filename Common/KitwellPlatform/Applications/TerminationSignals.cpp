#include "KitwellPlatform/Applications/TerminationSignals.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace kitwell::platform {

namespace {

// All that the handler may touch.
std::atomic<int> eventDescriptor{-1};
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void noteSignal(int) {
    const int savedErrno = errno;
    const std::uint64_t one = 1;
    if (const int descriptor = eventDescriptor; descriptor >= 0) {
        [[maybe_unused]] const ssize_t ignored = ::write(descriptor, &one, sizeof one);
    }
    errno = savedErrno;
}

// Who started this process may have asked that a signal be ignored, as nohup does.
void catchUnlessIgnored(int signal) {
    struct sigaction before {};
    if (::sigaction(signal, nullptr, &before) != 0 || before.sa_handler == SIG_IGN)
        return;
    struct sigaction action {};
    action.sa_handler = noteSignal;
    action.sa_flags = SA_RESTART;
    ::sigaction(signal, &action, nullptr);
}

} // namespace

TerminationSignals::TerminationSignals(RunLoop& loop, std::function<void()> handler)
    : event_(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
    if (!event_)
        return;
    source_ = loop.watch(event_.get(), RunLoop::Interest::Readable, RunLoopModes::Common,
                         [this, handler = std::move(handler)](RunLoop::Events) {
                             source_.end(); // the event stays set: nobody needs to look at it again
                             handler();
                         });
    if (!source_)
        return;
    eventDescriptor = event_.get();
    for (const int signal : {SIGTERM, SIGINT, SIGHUP})
        catchUnlessIgnored(signal);
}

TerminationSignals::~TerminationSignals() {
    eventDescriptor = -1;
}

} // namespace kitwell::platform
