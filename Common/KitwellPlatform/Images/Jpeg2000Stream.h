#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct opj_image;

namespace kitwell::platform {

struct Jpeg2000CodecFree {
    void operator()(void** codec) const;
};
struct Jpeg2000ImageFree {
    void operator()(opj_image* image) const;
};
struct Jpeg2000StreamFree {
    void operator()(void** stream) const;
};
// The library's names for a codec and a stream stand for these pointers.
using Jpeg2000Codec = std::unique_ptr<void*, Jpeg2000CodecFree>;
using Jpeg2000Image = std::unique_ptr<opj_image, Jpeg2000ImageFree>;
using Jpeg2000Stream = std::unique_ptr<void*, Jpeg2000StreamFree>;

struct Jpeg2000Input {
    std::span<const std::byte> bytes;
    std::size_t position = 0;
};

struct Jpeg2000Output {
    std::vector<std::byte> bytes;
    std::size_t position = 0;
};

// Lets the codec work on all processors where the picture is worth it; the result is the same.
void shareJpeg2000Work(void** codec, std::uint64_t pixels);

// Streams over memory; what they read or write must outlive them.
Jpeg2000Stream openJpeg2000(Jpeg2000Input& input);
Jpeg2000Stream createJpeg2000(Jpeg2000Output& output);

} // namespace kitwell::platform
