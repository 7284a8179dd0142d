#pragma once

#include <cstddef>
#include <memory>
#include <span>

#include "KitwellPlatform/Values/Data.h"

namespace kitwell::platform {

// Bytes that grow at their end. Unlike a vector it never holds two copies of a large content while it grows:
// the system moves the pages. Inside the library only; one thread at a time.
class GrowingBuffer {
public:
    // False when there is no memory; what was there stays.
    bool append(std::span<const std::byte> bytes);
    std::size_t size() const { return size_; }
    // The content, without a copy; the buffer is empty afterwards.
    Data take();

private:
    struct Release {
        void operator()(std::byte* bytes) const;
    };
    bool resize(std::size_t capacity);

    std::unique_ptr<std::byte[], Release> bytes_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

} // namespace kitwell::platform
