#include "KitwellPlatform/Values/Value.h"

namespace kitwell::platform {

namespace {

bool sameInteger(const std::int64_t* left, const std::uint64_t* right) {
    return left && right && *left >= 0 && static_cast<std::uint64_t>(*left) == *right;
}

} // namespace

bool Value::truth() const {
    if (const NumberText* number = asNumberText()) {
        const std::size_t end = number->text.find_first_of("eE");
        return number->text.substr(0, end).find_first_of("123456789") != std::string::npos;
    }
    if (const bool* boolean = asBoolean())
        return *boolean;
    if (const std::int64_t* number = asSigned())
        return *number != 0;
    if (const std::uint64_t* number = asUnsigned())
        return *number != 0;
    const double* number = asDouble();
    return number && *number != 0;
}

bool operator==(const Value& left, const Value& right) {
    if (left.held_.index() != right.held_.index())
        return sameInteger(left.asSigned(), right.asUnsigned()) ||
               sameInteger(right.asSigned(), left.asUnsigned());
    return left.held_ == right.held_;
}

} // namespace kitwell::platform
