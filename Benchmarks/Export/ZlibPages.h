#pragma once

#include <cstddef>
#include <cstdint>

#include "KitwellPlatform/Images/Image.h"

namespace kitwell::benchmarks {

// The pages of the PDF writer as zlib compresses them at its usual level, in one thread: the same rows with
// the same filters. Answers the size of all pages.
std::size_t zlibPages(const platform::ImageRepresentation& image, std::uint32_t pageHeight);

} // namespace kitwell::benchmarks
