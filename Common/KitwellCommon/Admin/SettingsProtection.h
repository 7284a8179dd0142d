#pragma once

#include <string>
#include <vector>

#include "KitwellCommon/Export.h"

namespace kitwell {

// The folders that lead to a settings file: its own, and those above it up to the machine's Library; for a
// file elsewhere its own alone.
KITWELL_API std::vector<std::string> settingsFolders(const std::string& path);

// What is wrong with the protection of a settings file and of these folders, each as a sentence for a log or
// a person: not owned by root, writable by others than the administrators, a symlink or something of another
// kind in its place. Empty when all is well, and where nothing stands. Main thread.
KITWELL_API std::vector<std::string> settingsProtectionFaults(const std::string& path);

} // namespace kitwell
