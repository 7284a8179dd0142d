#pragma once

#include <optional>
#include <string>

namespace kitwell::applications {

// The picture file of the folder itself that was written last, by the endings of pictures' names; nothing
// when there is none or the folder cannot be read.
std::optional<std::string> newestPicture(const std::string& folder);

} // namespace kitwell::applications
