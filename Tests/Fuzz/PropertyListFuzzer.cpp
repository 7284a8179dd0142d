// Any bytes at all: what the reader takes, the writer must be able to write, and writing is settled after one
// turn.

#include <cstdint>
#include <cstdlib>

#include "KitwellPlatform/Values/PropertyList.h"

using namespace kitwell::platform;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto read = parsePropertyList(std::as_bytes(std::span(data, size)));
    if (!read)
        return 0;
    const auto written = writeBinaryPropertyList(*read);
    if (!written)
        std::abort();
    const auto again = parsePropertyList(written->bytes());
    if (!again || !(*writeBinaryPropertyList(*again) == *written))
        std::abort();
    return 0;
}
