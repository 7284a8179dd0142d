#pragma once

#include <string>
#include <string_view>

namespace kitwell::applications {

// What comes from tools and files must not steer the terminal: C0 and C1 control characters become dots.
std::string printable(std::string_view text);

// Whether two names mean the same to a person: upper and lower case of ASCII letters alike.
bool isSameName(std::string_view left, std::string_view right);

} // namespace kitwell::applications
