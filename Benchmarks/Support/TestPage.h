#pragma once

#include <cstdint>

#include "KitwellPlatform/Images/Image.h"

namespace kitwell::benchmarks {

enum class PageAlpha { Opaque, Fading };

// A page as a program would export it: lines of smooth text with coloured headings on white, and between them
// figures, a photograph beside plain gradients. The same size gives the same pixels; a taller page begins
// with the rows of a shorter one. With `Fading` the gradients grow transparent towards one side.
platform::ImageRepresentation testPage(std::uint32_t width, std::uint32_t height,
                                       PageAlpha alpha = PageAlpha::Opaque);

} // namespace kitwell::benchmarks
