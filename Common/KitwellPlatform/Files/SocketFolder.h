#pragma once

#include <string>
#include <vector>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// A folder below the user's runtime folder in which sockets have their names. It may lie deeper than the 107
// bytes of a socket's address. The operations that answer a bool leave the reason in errno. Inside the
// library only; any thread.
class SocketFolder {
public:
    enum class Missing { Create, Refuse };
    // `path` is relative to the runtime folder. A missing folder that is not to be created shows at the first
    // operation.
    static Result<SocketFolder> open(const std::string& path, Missing missing);

    bool bind(const FileDescriptor& socket, const std::string& name) const;
    bool connect(const FileDescriptor& socket, const std::string& name) const;
    // Sends an empty datagram without waiting.
    bool sendEmpty(const FileDescriptor& socket, const std::string& name) const;
    bool rename(const std::string& from, const std::string& to) const;
    void remove(const std::string& name) const;

    // In no particular order.
    std::vector<std::string> names() const;
    // A path of the name that fits an address, valid in this process while the object lives.
    std::string pathOf(const std::string& name) const;

private:
    explicit SocketFolder(std::string path) : path_(std::move(path)) {}
    // The open folder; below zero when it cannot be opened.
    int folder() const;

    std::string path_;
    mutable FileDescriptor folder_; // opened where it is first needed: most of the time the path does
};

} // namespace kitwell::platform
