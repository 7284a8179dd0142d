#pragma once

#include <cstddef>
#include <new>
#include <stdexcept>
#include <vector>

namespace kitwell::platform {

// What to do with pictures that this process has no memory for. Inside the library only; any thread.

// The answer of the work, or an empty one when memory ran out on the way.
template <class Work>
auto orNothingWithoutMemory(const Work& work) -> decltype(work()) {
    try {
        return work();
    } catch (const std::bad_alloc&) {
        return {};
    } catch (const std::length_error&) {
        return {};
    }
}

// For callbacks of the codecs, which nothing may be raised through. False when there is no memory.
inline bool appendBytes(std::vector<std::byte>& output, const void* bytes, std::size_t count) noexcept {
    return orNothingWithoutMemory([&] {
        const auto* from = static_cast<const std::byte*>(bytes);
        output.insert(output.end(), from, from + count);
        return true;
    });
}

// The same for one that writes at any place: new bytes before that place are 0.
inline bool growTo(std::vector<std::byte>& output, std::size_t size) noexcept {
    return orNothingWithoutMemory([&] {
        if (output.size() < size)
            output.resize(size);
        return true;
    });
}

} // namespace kitwell::platform
