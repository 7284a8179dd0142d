#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "Support/Partner.h"

namespace kitwell::benchmarks {

// What both contenders carry: an identifier that says what the receiver shall do, and blocks of 60 and 8
// bytes.
enum class Job : std::uint32_t {
    Echo,  // send one back
    Stamp, // report the time
    Read,  // read every page of the block, then report the time
    Count, // nothing
};
inline constexpr std::size_t kFirstBlock = 60;
inline constexpr std::size_t kSecondBlock = 8;

inline constexpr int kEchoes = 5000;
inline constexpr int kBlocks = 40;
inline constexpr int kLookups = 100;
inline constexpr std::size_t kMessages = 150'000;

// What a flood of several senders gave.
struct Flood {
    double messagesPerSecond = 0;
    double leastToGreatest = 0; // of the senders' shares
};

// Counts messages by sender; the first tenth is for warming up.
class FloodCounter {
public:
    explicit FloodCounter(std::size_t senders) : counts_(senders) {}
    void add(std::size_t sender) {
        if (++total_ == kMessages / 10) {
            std::ranges::fill(counts_, 0);
            start_ = now();
        }
        ++counts_.at(sender);
    }
    bool isDone() const { return total_ >= kMessages; }
    Flood result() const {
        const auto [least, greatest] = std::ranges::minmax(counts_);
        return {static_cast<double>(kMessages - kMessages / 10) / (now() - start_),
                static_cast<double>(least) / static_cast<double>(greatest)};
    }

private:
    std::vector<std::size_t> counts_;
    std::size_t total_ = 0;
    double start_ = 0;
};

inline double readEveryPage(std::span<const std::byte> bytes) {
    unsigned sum = 0;
    for (std::size_t offset = 0; offset < bytes.size(); offset += 4096)
        sum += static_cast<unsigned>(bytes[offset]);
    return sum;
}

inline double medianOf(std::vector<double> values) {
    std::ranges::nth_element(values, values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2));
    return values[values.size() / 2];
}

} // namespace kitwell::benchmarks
