#include "Support/Traffic.h"

#include <chrono>
#include <stdexcept>

#include "KitwellPlatform/Ports/PortNameServer.h"
#include "Support/ChildProcess.h"

namespace kitwell::test {

bool turnLoopUntil(const std::function<bool()>& condition, platform::RunLoopMode mode) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        platform::RunLoop::current().runOnce(std::chrono::milliseconds(20), mode);
    }
    return true;
}

RecordingPort::RecordingPort(const std::string& name)
    : name_(name), port_(platform::Port::receivePort(
                       [this](const platform::PortMessage& message) { received.push_back(message); })) {
    if (!platform::PortNameServer::systemDefault().registerPort(port_, name_))
        throw std::runtime_error("the name is not free");
    port_->addToRunLoop(platform::RunLoop::current());
}

RecordingPort::~RecordingPort() {
    platform::PortNameServer::systemDefault().removePortForName(name_);
    port_->invalidate();
}

std::vector<std::uint32_t> RecordingPort::waitFor(std::size_t count) {
    turnLoopUntil([&] { return received.size() >= count; });
    std::vector<std::uint32_t> identifiers;
    for (const auto& message : received)
        identifiers.push_back(message.msgid);
    return identifiers;
}

} // namespace kitwell::test
