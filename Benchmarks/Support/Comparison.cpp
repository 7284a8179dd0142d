#include "Support/Comparison.h"

#include <algorithm>
#include <cstdio>

namespace kitwell::benchmarks {

namespace {

struct Medians {
    double first;
    double second;
};

double median(std::vector<double> values) {
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

Medians measureInTurns(int rounds, const Measure& first, const Measure& second) {
    first();
    second();
    std::vector<double> firsts;
    std::vector<double> seconds;
    for (int round = 0; round < rounds; ++round) {
        firsts.push_back(first());
        seconds.push_back(second());
    }
    return {median(firsts), median(seconds)};
}

} // namespace

bool compare(const Comparison& comparison, int rounds, const Measure& floor, const Measure& ours) {
    const Medians medians = measureInTurns(rounds, floor, ours);
    const double ratio = medians.second / medians.first;
    const bool kept =
        comparison.better == Better::Less ? ratio <= comparison.budget : ratio >= comparison.budget;
    std::printf("%-58s %-34s %10.2f %10.2f %-6s %6.2f x  %s %.2f x  %s\n", comparison.work.c_str(),
                comparison.floorName.c_str(), medians.first * comparison.unitScale,
                medians.second * comparison.unitScale, comparison.unit.c_str(), ratio,
                comparison.better == Better::Less ? "<=" : ">=", comparison.budget, kept ? "kept" : "MISSED");
    std::fflush(stdout);
    return kept;
}

void printPeer(const Comparison& comparison, int rounds, const Measure& peer, const Measure& ours) {
    const Medians medians = measureInTurns(rounds, peer, ours);
    std::printf("%-58s %-34s %10.2f %10.2f %-6s %6.2f x  (peer)\n", comparison.work.c_str(),
                comparison.floorName.c_str(), medians.first * comparison.unitScale,
                medians.second * comparison.unitScale, comparison.unit.c_str(),
                medians.second / medians.first);
    std::fflush(stdout);
}

void printUnavailable(const std::string& work, const std::string& reason) {
    std::printf("%-58s not measured: %s\n", work.c_str(), reason.c_str());
}

void printHeading(const std::string& title) {
    std::printf("%s\n%-58s %-34s %10s %10s %-6s %8s  budget\n", title.c_str(), "work", "floor", "floor",
                "ours", "unit", "ratio");
}

} // namespace kitwell::benchmarks
