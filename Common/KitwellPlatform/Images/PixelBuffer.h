#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "KitwellPlatform/Images/Image.h"

namespace kitwell::platform {

// The pixels of a picture that is being read. They are not cleared first: the memory that a damaged file has
// claimed is never touched.
class PixelBuffer {
public:
    PixelBuffer(std::uint32_t width, std::uint32_t height)
        : width_(width), height_(height), bytes_(std::make_shared_for_overwrite<std::byte[]>(size())) {}

    // The claim of a file, looked at before a buffer is made for it.
    static bool isPossible(std::uint64_t width, std::uint64_t height) {
        return width > 0 && height > 0 && width <= kMaxImagePixels && height <= kMaxImagePixels / width;
    }

    std::uint32_t width() const { return width_; }
    std::uint32_t height() const { return height_; }
    std::byte* row(std::uint32_t y) { return bytes().subspan(std::size_t{y} * width_ * 4).data(); }
    std::span<std::byte> bytes() { return {bytes_.get(), size()}; }
    ImageRepresentation picture() const {
        return {width_, height_, Data::sharing(bytes_, {bytes_.get(), size()})};
    }

private:
    std::size_t size() const { return std::size_t{width_} * height_ * 4; }

    std::uint32_t width_;
    std::uint32_t height_;
    std::shared_ptr<std::byte[]> bytes_;
};

} // namespace kitwell::platform
