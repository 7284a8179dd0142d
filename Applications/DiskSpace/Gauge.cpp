#include "Gauge.h"

#include <algorithm>

#include "Shared/Canvas.h"

namespace kitwell::applications {

namespace {

Canvas gauge(int size, double usedShare, Colour frame, Colour filling) {
    Canvas canvas(size);
    const double border = std::max(1.0, size / 16.0);
    const double left = size * 0.3;
    const double width = size * 0.4;
    const double room = size - 2 * border;
    const double level = std::clamp(usedShare, 0.0, 1.0) * room;
    canvas.fillRectangle(left, 0, width, size, frame);
    canvas.fillRectangle(left + border, border, width - 2 * border, room, {0, 0, 0, 0});
    canvas.fillRectangle(left + border, border + room - level, width - 2 * border, level, filling);
    return canvas;
}

} // namespace

platform::Image gaugeIcon(int size, double usedShare) {
    platform::Image icon = gauge(size, usedShare, {0, 0, 0}, {0, 0, 0, 160}).image();
    icon.setTemplate(true);
    return icon;
}

platform::Image gaugePicture(int size, double usedShare) {
    const double used = std::clamp(usedShare, 0.0, 1.0);
    const Colour filling{static_cast<std::uint8_t>(40 + 180 * used),
                         static_cast<std::uint8_t>(200 - 150 * used), 60};
    return gauge(size, usedShare, {60, 70, 80}, filling).image();
}

} // namespace kitwell::applications
