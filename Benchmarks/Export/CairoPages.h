#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "KitwellPlatform/Images/Image.h"

namespace kitwell::benchmarks {

// The same document made by cairo in memory; answers its size, or nothing where the library was not there
// when this program was built.
std::optional<std::size_t> cairoPages(const platform::ImageRepresentation& image, std::uint32_t pageHeight);

} // namespace kitwell::benchmarks
