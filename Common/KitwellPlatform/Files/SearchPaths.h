#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// Where things live on this system. Relative values of the XDG variables are ignored, as that standard asks.
// Nothing is created unless a declaration says so. Stateless; any thread.
class PLATFORM_API SearchPaths {
public:
    SearchPaths() = delete;

    // $HOME, else the home of the user database.
    static std::string home();
    // The home of the user database, whatever the environment says; nothing when the user has no entry.
    static std::optional<std::string> userDatabaseHome();
    // The user's Desktop folder: XDG_DESKTOP_DIR of $XDG_CONFIG_HOME/user-dirs.dirs, else "Desktop" in the
    // home folder.
    static std::string desktop();
    // The user's folder of pictures: XDG_PICTURES_DIR in the same way, else "Pictures" in the home folder.
    static std::string pictures();
    // $XDG_CONFIG_HOME/autostart: what the session starts when the user logs in.
    static std::string autostart();
    // $XDG_DATA_HOME/Kitwell/Library
    static std::string userLibrary();
    // $XDG_DATA_HOME/Kitwell/Group Containers/<identifier>, created 0700 with what leads to it. The
    // identifier must be one plain path component. An error when the folder cannot be made.
    static Result<std::string> groupContainer(std::string_view identifier);
    // Where ports, notifications and running applications meet: $XDG_RUNTIME_DIR/kitwell, else
    // /tmp/kitwell-<uid>. Created 0700 when missing; an error unless it is a real folder of mode 0700 that
    // this user owns: another user may have planted it. The answer is checked anew at each call.
    static Result<std::string> runtimeFolder();
    // $XDG_RUNTIME_DIR/kitwell/tmp, else $XDG_CACHE_HOME/kitwell/tmp; created 0700. Never the shared
    // temporary folder.
    static Result<std::string> temporaryFolder();
    // What holds for every user of the machine: "/Library". No environment variable moves it: a user must not
    // be able to step around the administrator.
    static std::string machineLibrary();
    // The running program's own file; empty when the system cannot tell.
    static std::string executable();
    // The folder "Name.app" when the running program is Name.app/Contents/Linux/<file>, else nothing.
    static std::optional<std::string> mainBundleFolder();
    // What this library brings along stands in a folder beside the library's own file, in the build tree as
    // when installed: the program that shows dialogs, and the folder of the translations.
    static std::string dialogProgram();
    static std::string translations();
    // Where application bundles may stand, each folder once, in the order of search: the siblings of the main
    // bundle first.
    static std::vector<std::string> applicationFolders();
};

} // namespace kitwell::platform
