#pragma once

#include <string>
#include <string_view>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// The text for a key in the user's language, else the key. The language is the one that LC_ALL, LC_MESSAGES,
// LANG and LANGUAGE name, as gettext reads them, whether or not the system has that locale; the process's own
// locale is neither asked nor changed. Catalogues stand in SearchPaths::translations(), one a domain and
// language. Any thread.
PLATFORM_API std::string localizedString(std::string_view domain, std::string_view key);

} // namespace kitwell::platform
