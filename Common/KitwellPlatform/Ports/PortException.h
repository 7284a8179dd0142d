#pragma once

#include <stdexcept>
#include <string>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// Why a message could not be sent at all: the port is invalid, or the message is larger than a port carries.
class PLATFORM_API PortException : public std::runtime_error {
public:
    PortException(std::string name, const std::string& reason)
        : std::runtime_error(reason), name_(std::move(name)) {}
    const std::string& name() const { return name_; }
    std::string reason() const { return what(); }

private:
    std::string name_;
};

inline constexpr char kInvalidSendPortException[] = "InvalidSendPortException";
inline constexpr char kPortMessageTooLargeException[] = "PortMessageTooLargeException";

} // namespace kitwell::platform
