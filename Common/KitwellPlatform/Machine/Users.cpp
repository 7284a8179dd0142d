#include "KitwellPlatform/Machine/Users.h"

#include <grp.h>
#include <pwd.h>

namespace kitwell::platform {

std::optional<std::uint32_t> administratorsGroup() {
    for (const char* name : {"admin", "sudo", "wheel"}) {
        if (const group* found = ::getgrnam(name))
            return found->gr_gid;
    }
    return std::nullopt;
}

std::string userName(std::uint32_t userId) {
    const passwd* found = ::getpwuid(userId);
    return found ? found->pw_name : std::to_string(userId);
}

std::string groupName(std::uint32_t groupId) {
    const group* found = ::getgrgid(groupId);
    return found ? found->gr_name : std::to_string(groupId);
}

} // namespace kitwell::platform
