#pragma once

#include <functional>
#include <string>

#include "KitwellPlatform/RunLoop/RunLoop.h"

namespace kitwell::applications {

// Hands over each line of standard input as it arrives, on the main run loop. Input that ends is simply over;
// a line of more than 4 KiB is dropped. What is typed while this process stands in the background of its
// terminal is meant for another job and not touched.
class CommandReader {
public:
    using Handler = std::function<void(const std::string& line)>;
    explicit CommandReader(Handler handler);
    CommandReader(const CommandReader&) = delete;
    CommandReader& operator=(const CommandReader&) = delete;

private:
    void listen();
    void readSome(platform::RunLoop::Events events);

    Handler handler_;
    std::string unfinished_;
    bool isTooLong_ = false; // the line whose end has not come yet
    platform::RunLoop::Source source_;
    platform::Timer later_;
};

} // namespace kitwell::applications
