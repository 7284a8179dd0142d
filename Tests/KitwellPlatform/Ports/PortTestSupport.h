#pragma once

#include <string>
#include <vector>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Ports/PortNameServer.h"
#include "Support/ChildProcess.h"
#include "Support/TestHome.h"

namespace kitwell::platform::test {

using kitwell::test::ChildProcess;
using kitwell::test::TestHome;

inline PortNameServer& names() {
    return PortNameServer::systemDefault();
}

// A published port that keeps what it receives, delivered on this thread's loop.
struct Inbox {
    explicit Inbox(std::string_view name);
    // Runs the loop until so many messages came; false when they do not.
    bool waitFor(std::size_t count, RunLoopMode mode = RunLoopMode::Default) const;

    std::vector<PortMessage> messages;
    std::shared_ptr<Port> port;
};

Date soon(double seconds = 20);
inline PortMessage message(std::uint32_t msgid, std::vector<Data> components = {}) {
    return {msgid, std::move(components)};
}
std::string socketPath(const TestHome& home, const std::string& name);
// A connection to a listening socket that knows nothing of ports; empty when refused.
FileDescriptor rawConnection(const std::string& path);
std::size_t openDescriptors();
// Runs the loop until the condition holds, looking again after each turn; false when it does not.
bool runUntil(const std::function<bool()>& condition, RunLoopMode mode = RunLoopMode::Default);

} // namespace kitwell::platform::test
