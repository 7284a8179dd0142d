#include "KitwellPlatform/RunLoop/EventWait.h"

#include <algorithm>
#include <cerrno>
#include <climits>

namespace kitwell::platform {

namespace {

int millisecondsOf(const timespec* limit) {
    constexpr long kMostSeconds = INT_MAX / 1000 - 1;
    if (!limit)
        return -1;
    const long seconds = std::min<long>(limit->tv_sec, kMostSeconds);
    return static_cast<int>(seconds * 1000 + (limit->tv_nsec + 999'999) / 1'000'000);
}

} // namespace

// Older kernels answer ENOSYS, sandboxes also EPERM.
int waitForEvents(int epoll, std::span<epoll_event> events, const timespec* limit) {
    const int most = static_cast<int>(events.size());
    const int count = ::epoll_pwait2(epoll, events.data(), most, limit, nullptr);
    if (count >= 0 || errno == EINTR)
        return count;
    return ::epoll_wait(epoll, events.data(), most, millisecondsOf(limit));
}

} // namespace kitwell::platform
