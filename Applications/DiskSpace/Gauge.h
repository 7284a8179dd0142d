#pragma once

#include "KitwellPlatform/Images/Image.h"

namespace kitwell::applications {

// A bar that is filled to `usedShare` (0 to 1) of its height, as a template: it takes the colour of the menu.
platform::Image gaugeIcon(int size, double usedShare);

// The tool's own icon: the same bar in colour, green to red.
platform::Image gaugePicture(int size, double usedShare);

} // namespace kitwell::applications
