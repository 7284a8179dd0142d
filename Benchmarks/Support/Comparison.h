#pragma once

#include <functional>
#include <string>
#include <vector>

namespace kitwell::benchmarks {

// A contender's measured rounds. `measure` does one round and answers its cost for one unit of work, in any
// unit that both contenders share (seconds for "less is better" rows, units a second for "more is better"
// rows).
using Measure = std::function<double()>;

enum class Better { Less, More };

struct Comparison {
    std::string work;      // "small message one way, one CPU"
    std::string floorName; // "raw SEQPACKET + epoll"
    std::string unit;      // "us", "ms", "msg/s"
    double unitScale = 1;  // what a measured number is multiplied with for print, e.g. 1e6 for seconds to us
    Better better = Better::Less;
    double budget = 1; // the ratio that is allowed: at most it (Less), at least it (More)
};

// Runs both contenders in turns, `rounds` times each after one unmeasured round, takes the median of each,
// prints one row of the table (work, floor, ours, ratio, budget, verdict) and answers whether the budget was
// kept.
bool compare(const Comparison& comparison, int rounds, const Measure& floor, const Measure& ours);

// A row whose contender cannot be measured on this machine.
void printUnavailable(const std::string& work, const std::string& reason);

// A row of a peer beside our own figure: printed, without a budget.
void printPeer(const Comparison& comparison, int rounds, const Measure& peer, const Measure& ours);

void printHeading(const std::string& title);

} // namespace kitwell::benchmarks
