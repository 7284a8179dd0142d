#pragma once

#include <ctime>
#include <span>
#include <sys/epoll.h>

namespace kitwell::platform {

// epoll_wait(2) with a finer limit, null for none: on a system that does not know the finer call the limit is
// rounded up to whole milliseconds. Inside the library only; any thread.
int waitForEvents(int epoll, std::span<epoll_event> events, const timespec* limit);

} // namespace kitwell::platform
