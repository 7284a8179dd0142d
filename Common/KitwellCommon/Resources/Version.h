#pragma once

#include <compare>
#include <cstdint>
#include <initializer_list>
#include <utility>
#include <vector>

#include "KitwellCommon/Export.h"

namespace kitwell {

// The version of an application or of a shared resource: numbers in order, as a rule four (major, minor,
// patch, build). Immutable. Compared number by number; where one version begins with all of the other, the
// shorter one is less: 1.2 before 1.2.0. Any thread.
class KITWELL_API Version {
public:
    // What stands at a position beyond the end.
    static constexpr std::uint64_t kNotFound = INT64_MAX;

    Version() = default;
    Version(std::initializer_list<std::uint64_t> numbers) : numbers_(numbers) {}
    explicit Version(std::vector<std::uint64_t> numbers) : numbers_(std::move(numbers)) {}

    std::size_t length() const { return numbers_.size(); }
    // kNotFound beyond the end.
    std::uint64_t numberAtPosition(std::size_t position) const {
        return position < numbers_.size() ? numbers_[position] : kNotFound;
    }
    Version appending(std::uint64_t number) const;

    friend bool operator==(const Version&, const Version&) = default;
    // The check misreads the comparison with zero that this stands for.
    friend auto operator<=>(const Version&, const Version&) = default; // NOLINT(modernize-use-nullptr)

private:
    std::vector<std::uint64_t> numbers_;
};

} // namespace kitwell
