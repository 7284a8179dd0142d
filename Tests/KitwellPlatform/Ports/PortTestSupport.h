#pragma once

#include "KitwellPlatform/Ports/PortNameServer.h"
#include "Support/Harness.h"

namespace kitwell::platform::test {

using namespace kitwell::test;

inline PortNameServer& names() {
    return PortNameServer::systemDefault();
}

inline Date soon(double seconds = 20) {
    return Date::now().adding(seconds);
}
inline PortMessage message(std::uint32_t msgid, std::vector<Data> components = {}) {
    return {msgid, std::move(components)};
}
std::string socketPath(const TestHome& home, const std::string& name);
// A connection to a listening socket that knows nothing of ports; empty when refused.
FileDescriptor rawConnection(const std::string& path);

} // namespace kitwell::platform::test
