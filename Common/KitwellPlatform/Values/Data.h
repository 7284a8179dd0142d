#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// Immutable bytes, shared without copying: a copy of a Data is another hold on the same bytes. The bytes may
// live in a heap block, in a mapping, or inside a larger block that is kept alive.
// May be copied, read and dropped on any thread.
class PLATFORM_API Data {
public:
    Data() = default;
    // Copies the bytes of a text.
    explicit Data(std::string_view text);

    static Data copying(std::span<const std::byte> bytes);
    static Data adopting(std::vector<std::byte> bytes);
    // `bytes` must stay valid and unchanged for as long as `owner` is held.
    static Data sharing(std::shared_ptr<const void> owner, std::span<const std::byte> bytes);

    std::span<const std::byte> bytes() const { return bytes_; }
    const std::byte* data() const { return bytes_.data(); }
    std::size_t size() const { return bytes_.size(); }
    bool empty() const { return bytes_.empty(); }
    // The bytes seen as characters, unchecked; valid while this Data or a copy of it lives.
    std::string_view text() const { return {reinterpret_cast<const char*>(bytes_.data()), bytes_.size()}; }

    friend bool operator==(const Data& left, const Data& right) { return left.text() == right.text(); }

private:
    std::shared_ptr<const void> owner_;
    std::span<const std::byte> bytes_;
};

} // namespace kitwell::platform
