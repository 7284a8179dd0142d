#pragma once

#include <string>
#include <vector>

#include "KitwellCommon/Export.h"

namespace kitwell {

// What is wrong with the protection of a settings file and of its folder, each as a sentence for a log or a
// person: not owned by root, writable by others than the administrators, a symlink or no regular file in the
// file's place. Empty when all is well, and where nothing stands. Main thread.
KITWELL_API std::vector<std::string> settingsProtectionFaults(const std::string& path);

} // namespace kitwell
