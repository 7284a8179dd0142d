#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "KitwellPlatform/Images/Image.h"

namespace kitwell::applications {

struct Colour {
    std::uint8_t red = 0;
    std::uint8_t green = 0;
    std::uint8_t blue = 0;
    std::uint8_t alpha = 255;
};

// A square drawing with its origin at the top left, in pixels; transparent at first. What lies outside is cut
// off.
class Canvas {
public:
    explicit Canvas(int size);

    int size() const { return size_; }
    void fillRectangle(double left, double top, double width, double height, Colour colour);
    void fillCircle(double centreX, double centreY, double radius, Colour colour);
    void drawLine(double fromX, double fromY, double toX, double toY, double thickness, Colour colour);

    platform::Image image() const;

private:
    void set(int column, int row, Colour colour);

    int size_;
    std::vector<std::byte> pixels_;
};

} // namespace kitwell::applications
