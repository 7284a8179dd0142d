#pragma once

#include <string>
#include <string_view>

#include "KitwellPlatform/Applications/Localization.h"

namespace kitwell {

// A text of the framework's own in the user's language; the English text is the key. Any thread.
inline std::string localizedString(std::string_view key) {
    return platform::localizedString("KitwellCommon", key);
}

} // namespace kitwell
