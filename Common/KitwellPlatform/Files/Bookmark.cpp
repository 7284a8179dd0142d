#include "KitwellPlatform/Files/Bookmark.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

#include "KitwellPlatform/Files/FileAccess.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/FileUrl.h"

namespace kitwell::platform {

namespace {

// A bookmark is this header, the path and the file handle, one after the other. It has a meaning only on the
// machine that made it, whose byte order is therefore good enough.
struct Header {
    std::array<char, 4> magic{'K', 'W', 'B', 'M'};
    std::uint8_t version = 1;
    std::uint8_t scope = 0;
    std::uint16_t pathLength = 0;
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::int32_t handleType = 0;
    std::uint32_t handleLength = 0; // 0 where the volume has no handles
};
static_assert(sizeof(Header) == 32);

struct Bookmark {
    Header header;
    std::string path;
    std::string handle;
};

// Room for the system's file handle, whose bytes follow its head.
class HandleBuffer {
public:
    HandleBuffer() { get()->handle_bytes = MAX_HANDLE_SZ; }
    HandleBuffer(int type, std::string_view bytes) {
        get()->handle_type = type;
        get()->handle_bytes = static_cast<unsigned>(bytes.size());
        std::memcpy(get()->f_handle, bytes.data(), bytes.size());
    }
    file_handle* get() { return reinterpret_cast<file_handle*>(bytes_.data()); }
    std::string_view bytes() { return {reinterpret_cast<const char*>(get()->f_handle), get()->handle_bytes}; }

private:
    alignas(file_handle) std::array<std::byte, sizeof(file_handle) + MAX_HANDLE_SZ> bytes_{};
};

void keepHandle(Bookmark& bookmark) {
    HandleBuffer handle;
    int mount = 0;
    if (::name_to_handle_at(AT_FDCWD, bookmark.path.c_str(), handle.get(), &mount, AT_SYMLINK_FOLLOW) != 0)
        return;
    bookmark.handle = handle.bytes();
    bookmark.header.handleType = handle.get()->handle_type;
    bookmark.header.handleLength = handle.get()->handle_bytes;
}

std::optional<Bookmark> decode(std::string_view text) {
    Bookmark bookmark;
    Header& header = bookmark.header;
    if (text.size() < sizeof header)
        return std::nullopt;
    std::memcpy(&header, text.data(), sizeof header);
    text.remove_prefix(sizeof header);
    if (header.magic != Header().magic || header.version != Header().version ||
        header.handleLength > MAX_HANDLE_SZ ||
        text.size() != std::size_t{header.pathLength} + header.handleLength)
        return std::nullopt;
    bookmark.path = text.substr(0, header.pathLength);
    bookmark.handle = text.substr(header.pathLength);
    if (!bookmark.path.starts_with('/') || bookmark.path.find('\0') != std::string::npos)
        return std::nullopt;
    return bookmark;
}

bool isSameFile(const Bookmark& bookmark, const std::string& path) {
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && status.st_dev == bookmark.header.device &&
           status.st_ino == bookmark.header.inode;
}

// A folder of the file's volume, without which the system does not read a handle: the nearest that is left of
// the path.
FileDescriptor folderOnVolume(const Bookmark& bookmark) {
    std::string path = folderOf(bookmark.path);
    struct stat status {};
    while (path != "/" && ::stat(path.c_str(), &status) != 0)
        path = folderOf(path);
    auto folder = openFile(path, O_RDONLY | O_DIRECTORY);
    if (!folder || ::fstat(folder->get(), &status) != 0 || status.st_dev != bookmark.header.device)
        return {};
    return *std::move(folder);
}

// Where the file is now. The system tells it to privileged processes only.
std::optional<std::string> placeByHandle(const Bookmark& bookmark) {
    const FileDescriptor volume = folderOnVolume(bookmark);
    if (!volume || bookmark.handle.empty())
        return std::nullopt;
    HandleBuffer handle(bookmark.header.handleType, bookmark.handle);
    const FileDescriptor file(::open_by_handle_at(volume.get(), handle.get(), O_PATH | O_CLOEXEC));
    if (!file)
        return std::nullopt;
    std::error_code ignored;
    std::string place =
        std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file.get()), ignored).string();
    return isSameFile(bookmark, place) ? std::optional(std::move(place)) : std::nullopt;
}

} // namespace

Result<Data> bookmarkFor(const FileUrl& url, BookmarkScope scope) {
    Bookmark bookmark;
    bookmark.path = url.path();
    struct stat status {};
    if (!bookmark.path.starts_with('/') || bookmark.path.size() > PATH_MAX)
        return systemError("make a bookmark for a path that is not absolute", EINVAL);
    if (::stat(bookmark.path.c_str(), &status) != 0)
        return systemError("make a bookmark for " + bookmark.path, errno);
    bookmark.header.scope = static_cast<std::uint8_t>(scope);
    bookmark.header.pathLength = static_cast<std::uint16_t>(bookmark.path.size());
    bookmark.header.device = status.st_dev;
    bookmark.header.inode = status.st_ino;
    keepHandle(bookmark);
    const std::string_view header(reinterpret_cast<const char*>(&bookmark.header), sizeof bookmark.header);
    return Data(std::string(header) + bookmark.path + bookmark.handle);
}

std::optional<FileUrl> resolveBookmark(const Data& data) {
    const auto bookmark = decode(data.text());
    if (!bookmark)
        return std::nullopt;
    if (isSameFile(*bookmark, bookmark->path))
        return FileUrl(bookmark->path);
    if (const auto place = placeByHandle(*bookmark))
        return FileUrl(*place);
    return FileManager::fileExists(bookmark->path) ? std::optional(FileUrl(bookmark->path)) : std::nullopt;
}

bool startAccessingSecurityScopedResource(const Data& data) {
    const auto bookmark = decode(data.text());
    return bookmark && bookmark->header.scope == static_cast<std::uint8_t>(BookmarkScope::Security) &&
           resolveBookmark(data);
}

} // namespace kitwell::platform
