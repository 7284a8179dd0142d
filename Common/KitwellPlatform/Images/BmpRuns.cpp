#include "KitwellPlatform/Images/BmpRuns.h"

#include <cstring>

namespace kitwell::platform {

namespace {

constexpr unsigned kLongestRun = 255;

// What a code without a run of its own does.
constexpr unsigned kEndOfRow = 0;
constexpr unsigned kEndOfPicture = 1;
constexpr unsigned kMove = 2;

class RunReader {
public:
    RunReader(std::span<const std::byte> code, unsigned bits, const BmpPalette& palette, PixelBuffer& pixels)
        : code_(code), bits_(bits), palette_(palette), pixels_(pixels) {}

    bool read() {
        for (std::size_t at = 0; at < pixels_.bytes().size(); at += 4)
            std::memcpy(pixels_.bytes().data() + at, palette_[0].data(), 4);
        while (!isComplete()) {
            if (left() < 2)
                return false;
            const unsigned run = next(), value = next();
            if (run > 0)
                putRun(run, value);
            else if (value == kEndOfPicture)
                return true;
            else if (!skipOrPutEach(value))
                return false;
        }
        return true;
    }

private:
    // The mark of the end may be missing.
    bool isComplete() const {
        return y_ >= pixels_.height() || (y_ + 1 == pixels_.height() && x_ >= pixels_.width());
    }
    std::size_t left() const { return code_.size() - at_; }
    unsigned next() { return std::to_integer<unsigned>(code_[at_++]); }

    bool skipOrPutEach(unsigned value) {
        if (value == kEndOfRow) {
            x_ = 0;
            ++y_;
            return true;
        }
        if (value != kMove)
            return putEach(value);
        if (left() < 2)
            return false;
        x_ += next();
        y_ += next();
        return true;
    }

    // Colours of 4 bits take turns.
    void putRun(unsigned run, unsigned value) {
        for (unsigned i = 0; i < run; ++i)
            put(bits_ == 8 ? value : i % 2 == 0 ? value >> 4U : value & 15U);
    }

    // Each colour by itself, in whole words of 16 bits.
    bool putEach(unsigned count) {
        const std::size_t size = (std::size_t{count} * bits_ + 15) / 16 * 2;
        if (left() < size)
            return false;
        for (unsigned i = 0; i < count; ++i) {
            const auto byte = std::to_integer<unsigned>(code_[at_ + i * bits_ / 8]);
            put(bits_ == 8 ? byte : i % 2 == 0 ? byte >> 4U : byte & 15U);
        }
        at_ += size;
        return true;
    }

    void put(unsigned colour) {
        if (x_ < pixels_.width() && y_ < pixels_.height())
            std::memcpy(pixels_.row(pixels_.height() - 1 - static_cast<std::uint32_t>(y_)) + x_ * 4,
                        palette_[colour].data(), 4);
        ++x_;
    }

    std::span<const std::byte> code_;
    unsigned bits_;
    const BmpPalette& palette_;
    PixelBuffer& pixels_;
    std::size_t at_ = 0;
    std::uint64_t x_ = 0;
    std::uint64_t y_ = 0; // from the bottom
};

} // namespace

bool mayBeBmpRuns(std::span<const std::byte> code, std::uint64_t width, std::uint64_t height) {
    return width * height / kLongestRun <= code.size();
}

bool readBmpRuns(std::span<const std::byte> code, unsigned bits, const BmpPalette& palette,
                 PixelBuffer& pixels) {
    return RunReader(code, bits, palette, pixels).read();
}

} // namespace kitwell::platform
