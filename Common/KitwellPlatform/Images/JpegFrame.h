#pragma once

#include <cstdint>
#include <optional>
#include <span>

namespace kitwell::platform {

// What the frame header of a JPEG says of its picture.
struct JpegFrame {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned components = 0;
};

// Nothing when there is no frame header of a baseline or progressive JPEG with 8 bits a sample.
std::optional<JpegFrame> findJpegFrame(std::span<const std::byte> jpeg);

} // namespace kitwell::platform
