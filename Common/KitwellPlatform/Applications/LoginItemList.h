#pragma once

#include <string>
#include <vector>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// An application that the system opens when the user logs in.
struct LoginItem {
    FileUrl url;       // of its bundle, exactly as it was given
    std::string entry; // the path of the file that holds the item
};

// The user's login items: the entries of the folder SearchPaths::autostart() that this class wrote. Entries
// of other programs, symlinks and what cannot be read are no items and are never touched. An entry that the
// user switched off in the settings of the desktop is no item either. Each operation acts on the folder as it
// finds it; nothing is locked. Stateless; any thread.
class PLATFORM_API LoginItemList {
public:
    LoginItemList() = delete;

    // In the order in which they were appended; whether an application still exists is not looked at. A
    // folder that is missing holds no items; one that cannot be listed is an error.
    static Result<std::vector<LoginItem>> items();
    // An error when the entry is gone already or must not be removed.
    static Result<void> remove(const LoginItem& item);
    // Adds the bundle at the end: its executable is started at the next login. Entries that were
    // switched off and whose bundle has the same name, here or elsewhere, give way: switched on again they
    // would start an older copy beside this one. The new entry is whole or absent, whatever happens
    // meanwhile. An error for what is no absolute URL of a bundle with an executable, for a path that no
    // entry can hold (bytes that are not UTF-8, control characters other than tab and line break), and when
    // the folder does not take it.
    static Result<void> append(const FileUrl& url);
};

} // namespace kitwell::platform
