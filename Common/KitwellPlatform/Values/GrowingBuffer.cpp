#include "KitwellPlatform/Values/GrowingBuffer.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace kitwell::platform {

void GrowingBuffer::Release::operator()(std::byte* bytes) const {
    std::free(bytes);
}

bool GrowingBuffer::resize(std::size_t capacity) {
    void* moved = std::realloc(bytes_.get(), capacity);
    if (!moved)
        return false;
    (void)bytes_.release();
    bytes_.reset(static_cast<std::byte*>(moved));
    capacity_ = capacity;
    return true;
}

bool GrowingBuffer::append(std::span<const std::byte> bytes) {
    if (bytes.empty())
        return true;
    const std::size_t needed = size_ + bytes.size();
    if (needed > capacity_ && !resize(std::max(needed, capacity_ + capacity_ / 2)))
        return false;
    std::memcpy(bytes_.get() + size_, bytes.data(), bytes.size());
    size_ = needed;
    return true;
}

Data GrowingBuffer::take() {
    if (size_ == 0)
        return {};
    resize(size_);
    const std::span<const std::byte> content(bytes_.get(), std::exchange(size_, 0));
    capacity_ = 0;
    return Data::sharing(std::shared_ptr<const std::byte[]>(std::move(bytes_)), content);
}

} // namespace kitwell::platform
