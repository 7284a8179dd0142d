#pragma once

#include <utility>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// Owns one open descriptor and closes it. Every opener of this library sets close-on-exec.
class PLATFORM_API FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        if (this != &other)
            reset(std::exchange(other.descriptor_, -1));
        return *this;
    }
    ~FileDescriptor() { reset(); }

    int get() const { return descriptor_; }
    explicit operator bool() const { return descriptor_ >= 0; }
    int release() { return std::exchange(descriptor_, -1); }
    // Closes what is held, keeping errno, and holds `descriptor` instead.
    void reset(int descriptor = -1);

private:
    int descriptor_ = -1;
};

} // namespace kitwell::platform
