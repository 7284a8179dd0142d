#include "KitwellPlatform/Applications/RunningApplication.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KitwellPlatform/Applications/Announcement.h"
#include "KitwellPlatform/Files/FileAccess.h"
#include "KitwellPlatform/Files/FileManager.h"

namespace kitwell::platform {

namespace {

// Removes the name only while it still means the open file.
void removeIfSame(int descriptor, const std::string& path) {
    struct stat opened {};
    struct stat named {};
    if (::fstat(descriptor, &opened) == 0 && ::lstat(path.c_str(), &named) == 0 &&
        opened.st_dev == named.st_dev && opened.st_ino == named.st_ino)
        ::unlink(path.c_str());
}

std::optional<RunningApplication> readIfAlive(const std::string& folder, const std::string& name) {
    const std::string path = folder + "/" + name;
    const auto file = openFile(path, O_RDONLY | O_NOFOLLOW | O_NONBLOCK);
    if (!file)
        return std::nullopt;
    const auto content = readRegularFile(file->get(), kMaxAnnouncementBytes, path);
    if (!content)
        return std::nullopt;
    if (::flock(file->get(), LOCK_SH | LOCK_NB) == 0) {
        removeIfSame(file->get(), path);
        return std::nullopt;
    }
    return errno == EWOULDBLOCK ? decodeAnnouncement(name, content->text()) : std::nullopt;
}

} // namespace

std::vector<RunningApplication> RunningApplication::all() {
    std::vector<RunningApplication> running;
    const auto folder = announcementFolder();
    if (!folder)
        return running;
    for (const std::string& name : FileManager::namesInFolder(*folder)) {
        if (name.starts_with('.')) // one that is just being made
            continue;
        if (auto application = readIfAlive(*folder, name))
            running.push_back(*std::move(application));
    }
    return running;
}

std::vector<RunningApplication> RunningApplication::withBundleIdentifier(std::string_view identifier) {
    std::vector<RunningApplication> running = all();
    std::erase_if(running,
                  [&](const auto& application) { return application.bundleIdentifier != identifier; });
    return running;
}

} // namespace kitwell::platform
