#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include <openjpeg.h>

namespace kitwell::platform {

template <auto destroy>
struct Jpeg2000Free {
    template <class Object>
    void operator()(Object* object) const {
        destroy(object);
    }
};
using Jpeg2000Codec = std::unique_ptr<opj_codec_t, Jpeg2000Free<opj_destroy_codec>>;
using Jpeg2000Image = std::unique_ptr<opj_image_t, Jpeg2000Free<opj_image_destroy>>;
using Jpeg2000Stream = std::unique_ptr<opj_stream_t, Jpeg2000Free<opj_stream_destroy>>;

struct Jpeg2000Input {
    std::span<const std::byte> bytes;
    std::size_t position = 0;
};

struct Jpeg2000Output {
    std::vector<std::byte> bytes;
    std::size_t position = 0;
};

// Streams over memory; what they read or write must outlive them.
Jpeg2000Stream openJpeg2000(Jpeg2000Input& input);
Jpeg2000Stream createJpeg2000(Jpeg2000Output& output);

} // namespace kitwell::platform
