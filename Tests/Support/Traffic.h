#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "KitwellPlatform/Ports/Port.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"

namespace kitwell::test {

// Turns the calling thread's loop until the condition holds; false when the patience ran out first.
bool turnLoopUntil(const std::function<bool()>& condition,
                   platform::RunLoopMode mode = platform::RunLoopMode::Default);

// The other side of a conversation: a published port that keeps what it receives.
class RecordingPort {
public:
    explicit RecordingPort(const std::string& name);
    ~RecordingPort();
    RecordingPort(const RecordingPort&) = delete;
    RecordingPort& operator=(const RecordingPort&) = delete;

    std::vector<platform::PortMessage> received;

    // Waits for that many messages in all and answers their identifiers.
    std::vector<std::uint32_t> waitFor(std::size_t count);

private:
    std::string name_;
    std::shared_ptr<platform::Port> port_;
};

} // namespace kitwell::test
