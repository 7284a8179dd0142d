#pragma once

#include <functional>
#include <string>

#include "KitwellPlatform/RunLoop/RunLoop.h"

namespace kitwell::applications {

// Hands over each line of standard input as it arrives, on the main run loop. Input that ends is simply over;
// a line of more than 4 KiB is dropped.
class CommandReader {
public:
    using Handler = std::function<void(const std::string& line)>;
    explicit CommandReader(Handler handler);
    CommandReader(const CommandReader&) = delete;
    CommandReader& operator=(const CommandReader&) = delete;

private:
    void readSome();

    Handler handler_;
    std::string unfinished_;
    bool isTooLong_ = false; // the line whose end has not come yet
    platform::RunLoop::Source source_;
};

} // namespace kitwell::applications
