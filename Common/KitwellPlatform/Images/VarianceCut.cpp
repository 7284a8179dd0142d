#include "KitwellPlatform/Images/VarianceCut.h"

#include <algorithm>
#include <limits>
#include <queue>
#include <span>

namespace kitwell::platform {

namespace {

// Of some points: the error that they have as one colour is what their squares hold beyond square().
struct Moments {
    double weight = 0;
    std::array<double, 3> sum{};

    void add(const ColourPoint& point) {
        weight += static_cast<double>(point.weight);
        for (std::size_t i = 0; i < 3; ++i)
            sum[i] += static_cast<double>(point.weight) * static_cast<double>(point.mean[i]);
    }
    void add(const Moments& other, double sign = 1) {
        weight += sign * other.weight;
        for (std::size_t i = 0; i < 3; ++i)
            sum[i] += sign * other.sum[i];
    }
    double square() const { return (sum[0] * sum[0] + sum[1] * sum[1] + sum[2] * sum[2]) / weight; }
    ColourPoint colour() const {
        ColourPoint middle;
        for (std::size_t i = 0; i < 3; ++i)
            middle.mean[i] = static_cast<float>(sum[i] / weight);
        middle.weight = static_cast<float>(weight);
        return middle;
    }
};

struct Box {
    std::span<ColourPoint> points;
    Moments moments;
    double gain = 0; // the error that the best cut takes away
    std::size_t axis = 0;
    std::size_t cut = 0; // the points below it go into one half

    bool operator<(const Box& other) const { return gain < other.gain; }
};

std::size_t level(const ColourPoint& point, std::size_t axis) {
    return static_cast<std::size_t>(point.mean[axis]);
}

void findCut(Box& box, std::size_t axis) {
    std::array<Moments, 256> levels{};
    for (const ColourPoint& point : box.points)
        levels[level(point, axis)].add(point);
    Moments below;
    for (std::size_t cut = 1; cut < levels.size(); ++cut) {
        if (levels[cut - 1].weight == 0)
            continue;
        below.add(levels[cut - 1]);
        Moments above = box.moments;
        above.add(below, -1);
        // Weights are whole numbers; what remains below one is left over from rounding.
        if (above.weight < 0.5)
            return;
        const double gain = below.square() + above.square() - box.moments.square();
        if (gain > box.gain) {
            box.gain = gain;
            box.axis = axis;
            box.cut = cut;
        }
    }
}

Box makeBox(std::span<ColourPoint> points) {
    Box box{points, {}};
    for (const ColourPoint& point : points)
        box.moments.add(point);
    for (std::size_t axis = 0; axis < 3; ++axis)
        findCut(box, axis);
    return box;
}

float distance(const std::array<float, 3>& left, const std::array<float, 3>& right) {
    const float red = left[0] - right[0], green = left[1] - right[1], blue = left[2] - right[2];
    return red * red + green * green + blue * blue;
}

void sortBySecondPart(std::vector<ColourPoint>& colours) {
    std::sort(colours.begin(), colours.end(),
              [](const auto& left, const auto& right) { return left.mean[1] < right.mean[1]; });
}

} // namespace

std::vector<ColourPoint> cutByVariance(std::vector<ColourPoint>& points, std::size_t count) {
    std::priority_queue<Box> boxes;
    boxes.push(makeBox(points));
    while (boxes.size() < count && boxes.top().gain > 0) {
        const Box box = boxes.top();
        boxes.pop();
        const auto middle =
            std::partition(box.points.begin(), box.points.end(),
                           [&box](const ColourPoint& point) { return level(point, box.axis) < box.cut; });
        const auto below = static_cast<std::size_t>(middle - box.points.begin());
        boxes.push(makeBox(box.points.first(below)));
        boxes.push(makeBox(box.points.subspan(below)));
    }
    std::vector<ColourPoint> colours;
    for (; !boxes.empty(); boxes.pop())
        colours.push_back(boxes.top().moments.colour());
    return colours;
}

void settle(std::vector<ColourPoint>& colours, const std::vector<ColourPoint>& points, int rounds) {
    sortBySecondPart(colours);
    for (int round = 0; round < rounds; ++round) {
        const NearestColour nearest(colours);
        std::vector<Moments> moments(colours.size());
        for (const ColourPoint& point : points)
            moments[nearest.to(point.mean)].add(point);
        for (std::size_t i = 0; i < colours.size(); ++i)
            if (moments[i].weight > 0)
                colours[i] = moments[i].colour();
        sortBySecondPart(colours);
    }
}

NearestColour::NearestColour(const std::vector<ColourPoint>& colours) : colours_(colours) {
    std::size_t at = 0;
    for (std::size_t value = 0; value < firstAt_.size(); ++value) {
        while (at < colours.size() && colours[at].mean[1] < static_cast<float>(value))
            ++at;
        firstAt_[value] = static_cast<std::uint16_t>(at);
    }
}

std::size_t NearestColour::to(const std::array<float, 3>& wanted) const {
    std::size_t up = firstAt_[static_cast<std::size_t>(wanted[1])], down = up, best = 0;
    float smallest = std::numeric_limits<float>::max();
    const auto isWithinReach = [&](std::size_t at) {
        const float apart = colours_[at].mean[1] - wanted[1];
        return apart * apart < smallest;
    };
    const auto look = [&](std::size_t at) {
        const float found = distance(colours_[at].mean, wanted);
        if (found < smallest) {
            smallest = found;
            best = at;
        }
    };
    for (bool goesUp = true, goesDown = true; goesUp || goesDown;) {
        goesUp = goesUp && up < colours_.size() && isWithinReach(up);
        if (goesUp)
            look(up++);
        goesDown = goesDown && down > 0 && isWithinReach(down - 1);
        if (goesDown)
            look(--down);
    }
    return best;
}

} // namespace kitwell::platform
