#include "KitwellPlatform/Images/Jpeg2000Stream.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <thread>
#include <type_traits>

#include <openjpeg.h>

#include "KitwellPlatform/Images/OutOfMemory.h"

namespace kitwell::platform {

namespace {

constexpr OPJ_SIZE_T kFailed = std::numeric_limits<OPJ_SIZE_T>::max();
constexpr std::size_t kMaxFileSize = std::size_t{1} << 32;

OPJ_SIZE_T read(void* buffer, OPJ_SIZE_T count, void* stream) {
    auto& input = *static_cast<Jpeg2000Input*>(stream);
    const std::size_t taken = std::min(count, input.bytes.size() - input.position);
    if (taken == 0)
        return kFailed;
    std::memcpy(buffer, input.bytes.data() + input.position, taken);
    input.position += taken;
    return taken;
}

OPJ_SIZE_T write(void* buffer, OPJ_SIZE_T count, void* stream) {
    auto& output = *static_cast<Jpeg2000Output*>(stream);
    if (count > kMaxFileSize - output.position || !growTo(output.bytes, output.position + count))
        return kFailed;
    std::memcpy(output.bytes.data() + output.position, buffer, count);
    output.position += count;
    return count;
}

// A place beyond the end is moved to when it is written to, and refused when there is only reading.
template <class Stream>
std::size_t lastPlace(const Stream& stream) {
    return std::is_same_v<Stream, Jpeg2000Input> ? stream.bytes.size() : kMaxFileSize;
}

template <class Stream>
OPJ_BOOL seek(OPJ_OFF_T place, void* handle) {
    auto& stream = *static_cast<Stream*>(handle);
    if (place < 0 || static_cast<std::size_t>(place) > lastPlace(stream))
        return OPJ_FALSE;
    stream.position = static_cast<std::size_t>(place);
    return OPJ_TRUE;
}

template <class Stream>
OPJ_OFF_T skip(OPJ_OFF_T count, void* handle) {
    auto& stream = *static_cast<Stream*>(handle);
    if (count < 0 || static_cast<std::size_t>(count) > lastPlace(stream) - stream.position)
        return -1;
    stream.position += static_cast<std::size_t>(count);
    return count;
}

template <class Stream>
Jpeg2000Stream open(Stream& stream, bool isInput) {
    Jpeg2000Stream handle(opj_stream_default_create(isInput ? OPJ_TRUE : OPJ_FALSE));
    if (!handle)
        return handle;
    opj_stream_set_user_data(handle.get(), &stream, nullptr);
    opj_stream_set_user_data_length(handle.get(), stream.bytes.size());
    opj_stream_set_seek_function(handle.get(), seek<Stream>);
    opj_stream_set_skip_function(handle.get(), skip<Stream>);
    return handle;
}

} // namespace

void Jpeg2000CodecFree::operator()(void** codec) const {
    opj_destroy_codec(codec);
}
void Jpeg2000ImageFree::operator()(opj_image* image) const {
    opj_image_destroy(image);
}
void Jpeg2000StreamFree::operator()(void** stream) const {
    opj_stream_destroy(stream);
}

void shareJpeg2000Work(void** codec, std::uint64_t pixels) {
    constexpr std::uint64_t kWorthIt = std::uint64_t{1} << 18U;
    constexpr unsigned kMaxThreads = 8;
    if (pixels >= kWorthIt)
        opj_codec_set_threads(codec,
                              static_cast<int>(std::min(std::thread::hardware_concurrency(), kMaxThreads)));
}

Jpeg2000Stream openJpeg2000(Jpeg2000Input& input) {
    Jpeg2000Stream stream = open(input, true);
    if (stream)
        opj_stream_set_read_function(stream.get(), read);
    return stream;
}

Jpeg2000Stream createJpeg2000(Jpeg2000Output& output) {
    Jpeg2000Stream stream = open(output, false);
    if (stream)
        opj_stream_set_write_function(stream.get(), write);
    return stream;
}

} // namespace kitwell::platform
