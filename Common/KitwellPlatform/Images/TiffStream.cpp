#include "KitwellPlatform/Images/TiffStream.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>

#include <tiffio.h>

#include "KitwellPlatform/Images/OutOfMemory.h"

namespace kitwell::platform {

namespace {

TiffInput& input(thandle_t stream) {
    return *static_cast<TiffInput*>(stream);
}
TiffOutput& output(thandle_t stream) {
    return *static_cast<TiffOutput*>(stream);
}

template <class Stream>
toff_t seek(thandle_t handle, toff_t offset, int whence) {
    auto& stream = *static_cast<Stream*>(handle);
    const std::uint64_t base = whence == SEEK_SET   ? 0
                               : whence == SEEK_CUR ? stream.position
                                                    : stream.bytes.size();
    return stream.position = base + offset;
}

template <class Stream>
tmsize_t read(thandle_t handle, void* buffer, tmsize_t count) {
    auto& stream = *static_cast<Stream*>(handle);
    if (count <= 0 || stream.position >= stream.bytes.size())
        return 0;
    const auto taken =
        std::min<std::uint64_t>(static_cast<std::uint64_t>(count), stream.bytes.size() - stream.position);
    std::memcpy(buffer, stream.bytes.data() + stream.position, taken);
    stream.position += taken;
    return static_cast<tmsize_t>(taken);
}

template <class Stream>
toff_t size(thandle_t handle) {
    return static_cast<Stream*>(handle)->bytes.size();
}

tmsize_t refuseWrite(thandle_t, void*, tmsize_t) {
    return -1;
}

// Appending is the usual case and must not fill the new bytes with zeros first.
tmsize_t write(thandle_t handle, void* buffer, tmsize_t count) {
    TiffOutput& stream = output(handle);
    if (count < 0 || stream.position > std::numeric_limits<std::uint32_t>::max())
        return -1;
    if (!growTo(stream.bytes, stream.position))
        return -1;
    const auto* source = static_cast<const std::byte*>(buffer);
    const auto length = static_cast<std::size_t>(count);
    const std::size_t over = std::min(length, stream.bytes.size() - stream.position);
    std::copy_n(source, over, stream.bytes.data() + stream.position);
    if (!appendBytes(stream.bytes, source + over, length - over))
        return -1;
    stream.position += length;
    return count;
}

int closeNothing(thandle_t) {
    return 0;
}

// The library only ever reads from a mapping that belongs to a file opened for reading.
int mapInput(thandle_t handle, void** base, toff_t* length) {
    *base = const_cast<std::byte*>(input(handle).bytes.data());
    *length = input(handle).bytes.size();
    return 1;
}

int mapNothing(thandle_t, void**, toff_t*) {
    return 0;
}
void unmapNothing(thandle_t, void*, toff_t) {}

int staySilent(TIFF*, void*, const char*, const char*, va_list) {
    return 1;
}

struct OptionsFree {
    void operator()(TIFFOpenOptions* options) const { TIFFOpenOptionsFree(options); }
};
using Options = std::unique_ptr<TIFFOpenOptions, OptionsFree>;

Options silentOptions() {
    Options options(TIFFOpenOptionsAlloc());
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), staySilent, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), staySilent, nullptr);
    return options;
}

} // namespace

void TiffCloser::operator()(tiff* file) const {
    TIFFClose(file);
}

// "c": a strip is read as it was written, not cut into small ones. "D": the lists of strips are loaded only
// when they are asked for, so that a picture's size can be looked at first.
TiffHandle openTiff(TiffInput& stream, std::size_t maxAllocation) {
    const Options options = silentOptions();
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), static_cast<tmsize_t>(maxAllocation));
    return TiffHandle(TIFFClientOpenExt("memory", "rcD", &stream, read<TiffInput>, refuseWrite,
                                        seek<TiffInput>, closeNothing, size<TiffInput>, mapInput,
                                        unmapNothing, options.get()));
}

TiffHandle createTiff(TiffOutput& stream) {
    const Options options = silentOptions();
    return TiffHandle(TIFFClientOpenExt("memory", "wl", &stream, read<TiffOutput>, write, seek<TiffOutput>,
                                        closeNothing, size<TiffOutput>, mapNothing, unmapNothing,
                                        options.get()));
}

} // namespace kitwell::platform
