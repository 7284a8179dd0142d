#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kitwell::platform {

// Neighbouring colours of a picture taken together: their mean, and how many pixels have them.
struct ColourPoint {
    std::array<float, 3> mean{};
    float weight = 0;
};

// At most `count` colours that stand for the points with a small squared error: the points' box is cut, and
// then again and again the box whose cut takes away the most error. Reorders the points. There must be one.
std::vector<ColourPoint> cutByVariance(std::vector<ColourPoint>& points, std::size_t count);

// Moves the colours to the middle of the points that are nearest to them, `rounds` times, and sorts them by
// their second part as NearestColour wants them.
void settle(std::vector<ColourPoint>& colours, const std::vector<ColourPoint>& points, int rounds);

// Finds the colour with the smallest distance: looks to both sides of the place where a colour would stand
// and goes no further than the distance in that one part allows.
class NearestColour {
public:
    // Sorted by the second part of their means; must outlive this object.
    explicit NearestColour(const std::vector<ColourPoint>& colours);
    std::size_t to(const std::array<float, 3>& wanted) const;

private:
    const std::vector<ColourPoint>& colours_;
    std::array<std::uint16_t, 257> firstAt_{}; // the first colour whose second part is at least that
};

} // namespace kitwell::platform
