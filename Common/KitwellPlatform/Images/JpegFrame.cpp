#include "KitwellPlatform/Images/JpegFrame.h"

namespace kitwell::platform {

std::optional<JpegFrame> findJpegFrame(std::span<const std::byte> jpeg) {
    constexpr unsigned kFirstFrame = 0xc0, kLastFrame = 0xc2; // baseline, extended, progressive
    constexpr std::size_t kFrameSize = 10;                    // up to the number of components
    const auto byte = [jpeg](std::size_t at) { return std::to_integer<unsigned>(jpeg[at]); };
    const auto number = [&byte](std::size_t at) { return byte(at) << 8 | byte(at + 1); };
    std::size_t at = 2; // behind the mark of the beginning
    while (at < jpeg.size() && jpeg.size() - at >= kFrameSize && byte(at) == 0xff) {
        const unsigned marker = byte(at + 1);
        if (marker >= kFirstFrame && marker <= kLastFrame) {
            if (byte(at + 4) != 8)
                return std::nullopt;
            return JpegFrame{number(at + 7), number(at + 5), byte(at + 9)};
        }
        // A marker may be filled up with further 255s.
        at += marker == 0xff ? 1 : 2 + std::size_t{number(at + 2)};
    }
    return std::nullopt;
}

} // namespace kitwell::platform
