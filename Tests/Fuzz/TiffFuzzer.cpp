#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "KitwellPlatform/Images/Image.h"

using kitwell::platform::Data;
using kitwell::platform::Image;

// Whatever is read can be written, and is the same when it is read again.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const auto image = Image::fromData(Data::copying(std::as_bytes(std::span(bytes, size))));
    if (!image)
        return 0;
    const auto again = Image::fromData(*image->tiffRepresentation());
    if (!again || again->representations() != image->representations())
        std::abort();
    return 0;
}
