#include "Shared/Canvas.h"

#include <algorithm>
#include <cmath>

namespace kitwell::applications {

Canvas::Canvas(int size)
    : size_(size), pixels_(static_cast<std::size_t>(size) * static_cast<std::size_t>(size) * 4) {}

void Canvas::set(int column, int row, Colour colour) {
    if (column < 0 || row < 0 || column >= size_ || row >= size_)
        return;
    std::byte* pixel = pixels_.data() + (static_cast<std::size_t>(row) * static_cast<std::size_t>(size_) +
                                         static_cast<std::size_t>(column)) *
                                            4;
    pixel[0] = std::byte{colour.red};
    pixel[1] = std::byte{colour.green};
    pixel[2] = std::byte{colour.blue};
    pixel[3] = std::byte{colour.alpha};
}

void Canvas::fillRectangle(double left, double top, double width, double height, Colour colour) {
    for (int row = static_cast<int>(std::lround(top)); row < std::lround(top + height); ++row) {
        for (int column = static_cast<int>(std::lround(left)); column < std::lround(left + width); ++column)
            set(column, row, colour);
    }
}

void Canvas::fillCircle(double centreX, double centreY, double radius, Colour colour) {
    for (int row = 0; row < size_; ++row) {
        for (int column = 0; column < size_; ++column) {
            if (std::hypot(column + 0.5 - centreX, row + 0.5 - centreY) <= radius)
                set(column, row, colour);
        }
    }
}

void Canvas::drawLine(double fromX, double fromY, double toX, double toY, double thickness, Colour colour) {
    const double lengthX = toX - fromX;
    const double lengthY = toY - fromY;
    const double squaredLength = std::max(lengthX * lengthX + lengthY * lengthY, 1e-9);
    for (int row = 0; row < size_; ++row) {
        for (int column = 0; column < size_; ++column) {
            const double x = column + 0.5 - fromX;
            const double y = row + 0.5 - fromY;
            const double along = std::clamp((x * lengthX + y * lengthY) / squaredLength, 0.0, 1.0);
            if (std::hypot(x - along * lengthX, y - along * lengthY) <= thickness / 2)
                set(column, row, colour);
        }
    }
}

platform::Image Canvas::image() const {
    const auto side = static_cast<std::uint32_t>(size_);
    return platform::Image::fromRepresentations({{side, side, platform::Data::copying(pixels_)}}).value();
}

} // namespace kitwell::applications
