#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

struct tiff;

namespace kitwell::platform {

struct TiffCloser {
    void operator()(tiff* file) const;
};
using TiffHandle = std::unique_ptr<tiff, TiffCloser>;

struct TiffInput {
    std::span<const std::byte> bytes;
    std::uint64_t position = 0;
};

struct TiffOutput {
    std::vector<std::byte> bytes;
    std::uint64_t position = 0;
};

// Open a TIFF in memory; the stream must outlive the handle. Nothing is said on standard error, whatever the
// bytes hold, and no single piece of memory beyond `maxAllocation` bytes is taken. An empty handle when the
// input does not begin as a TIFF.
TiffHandle openTiff(TiffInput& input, std::size_t maxAllocation);
TiffHandle createTiff(TiffOutput& output);

} // namespace kitwell::platform
