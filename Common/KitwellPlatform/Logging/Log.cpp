#include "KitwellPlatform/Logging/Log.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "KitwellPlatform/Values/NeverDestroyed.h"
#include "KitwellPlatform/Values/Text.h"

namespace kitwell::platform {

namespace {

struct SinkHolder {
    std::mutex mutex;
    LogSink sink;
};

SinkHolder& holder() {
    static NeverDestroyed<SinkHolder> one;
    return *one;
}

// The journal names the device and inode of the stream it gave the process; a redirected stream is not the
// journal.
bool standardErrorIsJournal() {
    const char* stream = std::getenv("JOURNAL_STREAM");
    struct stat status {};
    if (!stream || ::fstat(STDERR_FILENO, &status) != 0)
        return false;
    return std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino) == stream;
}

// Under the journal the priority "informational" stands in front; the journal itself knows program and
// process.
std::string linePrefix() {
    if (standardErrorIsJournal())
        return "<6>";
    return formatText("%@[%d]: ", program_invocation_short_name, static_cast<int>(::getpid()));
}

std::string withControlsEscaped(std::string_view text) {
    std::string line;
    line.reserve(text.size());
    while (!text.empty()) {
        const std::size_t size = leadingControlCharacter(text);
        if (text.front() == '\n')
            line += "\\n";
        else if (size == 0)
            line += text.front();
        else
            for (const char byte : text.substr(0, size))
                line += formatText("\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
        text.remove_prefix(std::max<std::size_t>(size, 1));
    }
    return line;
}

} // namespace

void setLogSink(LogSink sink) {
    const std::lock_guard guard(holder().mutex);
    holder().sink = std::move(sink);
}

void writeLogLine(std::string_view text) {
    const std::string line = withControlsEscaped(text);
    LogSink sink;
    {
        const std::lock_guard guard(holder().mutex);
        sink = holder().sink;
    }
    if (sink) {
        sink(line);
        return;
    }
    const std::string whole = linePrefix() + line + "\n";
    // A log line that cannot be written has nobody left to be told.
    [[maybe_unused]] const ssize_t ignored = ::write(STDERR_FILENO, whole.data(), whole.size());
}

} // namespace kitwell::platform
