// Any bytes at all: what the reader takes, the writer must be able to write, and reading that again gives the
// same value, written the same way.

#include <cstdint>
#include <cstdlib>

#include "KitwellPlatform/Values/Json.h"

using namespace kitwell::platform;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    JsonReport report;
    const auto read = parseJson({reinterpret_cast<const char*>(data), size}, kMaxJsonBytes, &report);
    if (!read)
        return 0;
    for (const JsonLayout layout : {JsonLayout::Compact, JsonLayout::Pretty}) {
        const auto written = writeJson(*read, layout);
        if (!written)
            std::abort();
        const auto again = parseJson(written->text());
        if (!again || !(*again == *read) || !(*writeJson(*again, layout) == *written))
            std::abort();
    }
    return 0;
}
