#include "KitwellPlatform/Machine/ProcessName.h"

#include <string_view>
#include <unistd.h>

#include "KitwellPlatform/Files/AtomicFile.h"

namespace kitwell::platform {

namespace {

// When this process started, in the system's own ticks.
std::string startTime() {
    constexpr std::size_t kMaxBytes = 4096;
    constexpr int kFieldsBefore = 20; // between the program's name and the start time
    const auto content = readFile("/proc/self/stat", kMaxBytes);
    if (!content)
        return "0";
    const std::string_view text = content->text();
    std::size_t at = text.rfind(')'); // the program's name may hold blanks itself
    for (int field = 0; field < kFieldsBefore && at != std::string_view::npos; ++field)
        at = text.find(' ', at + 1);
    if (at == std::string_view::npos)
        return "0";
    return std::string(text.substr(at + 1, text.find(' ', at + 1) - at - 1));
}

} // namespace

std::string uniqueProcessName() {
    return std::to_string(::getpid()) + "-" + startTime();
}

} // namespace kitwell::platform
