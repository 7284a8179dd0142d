#pragma once

#include <string>
#include <string_view>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Files/LockedFile.h"
#include "KitwellPlatform/Files/SocketFolder.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// One plain path component of at most 80 bytes.
bool isPortName(std::string_view name);

// A port's name in the user's runtime folder, and the socket that listens under it. The name is this object's
// until the object goes or the process dies: "<name>.lock" is locked all the while and never removed,
// "<name>.port" is the socket.
class PublishedName {
public:
    // An error (EWOULDBLOCK) when the name is taken by a living owner, or when it cannot be published.
    static Result<PublishedName> claim(std::string_view name);

    PublishedName(PublishedName&&) noexcept = default;
    PublishedName& operator=(PublishedName&&) = delete;
    ~PublishedName();

    const std::string& name() const { return name_; }
    int listener() const { return listener_.get(); }

private:
    PublishedName(SocketFolder folder, std::string name, LockedFile lock, FileDescriptor listener);

    SocketFolder folder_;
    std::string name_;
    LockedFile lock_; // goes after the listener
    FileDescriptor listener_;
};

// A connection to the living owner of the name, whoever that is; an error when there is none within a second.
Result<FileDescriptor> connectToPublishedName(std::string_view name);

} // namespace kitwell::platform
