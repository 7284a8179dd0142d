#include "KitwellPlatform/Applications/Announcement.h"

#include <cerrno>
#include <charconv>
#include <unistd.h>

#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Machine/ProcessName.h"

namespace kitwell::platform {

namespace {

// Three fields, each ended by a NUL, the one byte that no path holds: process, bundle identifier, bundle
// path.
std::string encode(const RunningApplication& application) {
    std::string content = std::to_string(application.processIdentifier);
    content += '\0';
    content += application.bundleIdentifier;
    content += '\0';
    content += application.bundlePath;
    return content += '\0';
}

std::optional<std::string_view> takeField(std::string_view& content) {
    const std::size_t end = content.find('\0');
    if (end == std::string_view::npos)
        return std::nullopt;
    const std::string_view field = content.substr(0, end);
    content.remove_prefix(end + 1);
    return field;
}

} // namespace

Result<std::string> announcementFolder() {
    auto runtime = SearchPaths::runtimeFolder();
    return runtime ? Result(*runtime + "/applications") : runtime;
}

Result<Announcement> Announcement::make() {
    const auto folder = announcementFolder();
    if (!folder)
        return folder.error();
    if (auto created = FileManager::createFolder(*folder); !created)
        return created.error();
    const Bundle& bundle = Bundle::main();
    const std::string content = encode({::getpid(), bundle.identifier(), bundle.bundleUrl().path()});
    if (content.size() > kMaxAnnouncementBytes)
        return systemError("announce " + bundle.bundleUrl().path(), EFBIG);
    std::string path = *folder + "/" + uniqueProcessName();
    auto file = LockedFile::createLocked(path, content);
    if (!file)
        return file.error();
    return Announcement(*std::move(file), std::move(path));
}

// The name goes first, so that nobody finds the file without its lock.
Announcement::~Announcement() {
    if (!path_.empty())
        ::unlink(path_.c_str());
}

std::optional<RunningApplication> decodeAnnouncement(std::string_view name, std::string_view content) {
    const auto process = takeField(content);
    const auto identifier = takeField(content);
    const auto path = takeField(content);
    if (!process || !identifier || !path || !content.empty() ||
        !name.starts_with(std::string(*process) + "-"))
        return std::nullopt;
    RunningApplication application{0, std::string(*identifier), std::string(*path)};
    const char* end = process->data() + process->size();
    const auto [stop, failure] = std::from_chars(process->data(), end, application.processIdentifier);
    if (failure != std::errc() || stop != end || application.processIdentifier <= 0)
        return std::nullopt;
    return application;
}

} // namespace kitwell::platform
