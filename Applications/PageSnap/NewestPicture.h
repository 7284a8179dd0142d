#pragma once

#include <optional>
#include <string>

namespace kitwell::applications {

// The picture file of the folder itself that was written last, by the endings of pictures' names; nothing
// when there is none or the folder cannot be read.
std::optional<std::string> newestPicture(const std::string& folder);

// A path in the folder for "<name>.pdf", or "<name> 2.pdf" and so on, where nothing stands yet; nothing when
// very many are taken.
std::optional<std::string> freeDocument(const std::string& folder, const std::string& name);

} // namespace kitwell::applications
