#include "Support/PrivateMachine.h"

#include <filesystem>
#include <fstream>
#include <sched.h>
#include <sys/mount.h>
#include <unistd.h>

#include "Support/ChildProcess.h"

namespace kitwell::test {

namespace {

namespace fs = std::filesystem;

bool show(const fs::path& original, const fs::path& place) {
    std::error_code failure;
    if (fs::is_symlink(original)) {
        fs::copy_symlink(original, place, failure);
        return !failure;
    }
    if (fs::is_directory(original))
        fs::create_directory(place, failure);
    else
        std::ofstream(place).flush();
    return !failure && ::mount(original.c_str(), place.c_str(), nullptr, MS_BIND | MS_REC, nullptr) == 0;
}

} // namespace

bool enterPrivateMachine(const std::string& folder) {
    if (::unshare(CLONE_NEWNS) != 0 || ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("tmpfs", folder.c_str(), "tmpfs", 0, "mode=755") != 0)
        return false;
    for (const fs::directory_entry& entry : fs::directory_iterator("/")) {
        const std::string name = entry.path().filename().string();
        if (name != "Library" && !show(entry.path(), folder + "/" + name))
            return false;
    }
    std::error_code failure;
    fs::create_directory(folder + "/Library", failure);
    return !failure && ::chroot(folder.c_str()) == 0 && ::chdir("/") == 0;
}

int runOnPrivateMachine(const std::string& body, const std::string& folder, std::string& said) {
    std::filesystem::create_directory(folder);
    ChildProcess child = ChildProcess::body(body, {folder});
    while (const auto line = child.readLine(std::chrono::seconds(50)))
        said += *line + "\n";
    return child.wait();
}

} // namespace kitwell::test
