#include "KitwellCommon/Resources/Version.h"

namespace kitwell {

Version Version::appending(std::uint64_t number) const {
    std::vector<std::uint64_t> numbers;
    numbers.reserve(numbers_.size() + 1);
    numbers = numbers_;
    numbers.push_back(number);
    return Version(std::move(numbers));
}

} // namespace kitwell
