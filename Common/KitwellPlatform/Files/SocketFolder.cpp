#include "KitwellPlatform/Files/SocketFolder.h"

#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "KitwellPlatform/Files/FileAccess.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Files/SearchPaths.h"

namespace kitwell::platform {

namespace {

constexpr std::size_t kAddressBytes = sizeof sockaddr_un::sun_path;

struct CloseFolder {
    void operator()(DIR* folder) const { ::closedir(folder); }
};

// Hands the path to a socket call, which answers below zero for a failure.
template <class Call>
bool withAddress(const std::string& path, Call call) {
    sockaddr_un address{};
    if (path.size() >= kAddressBytes) {
        errno = ENAMETOOLONG;
        return false;
    }
    address.sun_family = AF_UNIX;
    path.copy(address.sun_path, path.size());
    return call(reinterpret_cast<const sockaddr*>(&address), socklen_t{sizeof address}) >= 0;
}

} // namespace

Result<SocketFolder> SocketFolder::open(const std::string& path, Missing missing) {
    const auto runtime = SearchPaths::runtimeFolder();
    if (!runtime)
        return runtime.error();
    SocketFolder folder(*runtime + "/" + path);
    if (missing == Missing::Create) {
        if (auto created = FileManager::createFolder(folder.path_); !created)
            return created.error();
    }
    return folder;
}

int SocketFolder::folder() const {
    if (!folder_) {
        if (auto opened = openFile(path_, O_PATH | O_DIRECTORY | O_NOFOLLOW))
            folder_ = *std::move(opened);
    }
    return folder_.get();
}

bool SocketFolder::bind(const FileDescriptor& socket, const std::string& name) const {
    return withAddress(pathOf(name), [&](const sockaddr* address, socklen_t size) {
        return ::bind(socket.get(), address, size);
    });
}

bool SocketFolder::connect(const FileDescriptor& socket, const std::string& name) const {
    return withAddress(pathOf(name), [&](const sockaddr* address, socklen_t size) {
        int result = -1;
        while ((result = ::connect(socket.get(), address, size)) != 0 && errno == EINTR) {
        }
        return result;
    });
}

bool SocketFolder::sendEmpty(const FileDescriptor& socket, const std::string& name) const {
    return withAddress(pathOf(name), [&](const sockaddr* address, socklen_t size) {
        return ::sendto(socket.get(), nullptr, 0, MSG_DONTWAIT | MSG_NOSIGNAL, address, size);
    });
}

bool SocketFolder::rename(const std::string& from, const std::string& to) const {
    return ::renameat(folder(), from.c_str(), folder(), to.c_str()) == 0;
}

void SocketFolder::remove(const std::string& name) const {
    ::unlinkat(folder(), name.c_str(), 0);
}

std::vector<std::string> SocketFolder::names() const {
    std::vector<std::string> names;
    FileDescriptor listing(::openat(folder(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    const std::unique_ptr<DIR, CloseFolder> folder(::fdopendir(listing.get()));
    if (!folder)
        return names;
    listing.release(); // is the other's now
    while (const dirent* const entry = ::readdir(folder.get())) {
        if (isPlainFileName(entry->d_name))
            names.emplace_back(entry->d_name);
    }
    return names;
}

// The way through the open folder is always short, but takes the system twice as long.
std::string SocketFolder::pathOf(const std::string& name) const {
    std::string path = path_ + "/" + name;
    if (path.size() < kAddressBytes)
        return path;
    return "/proc/self/fd/" + std::to_string(folder()) + "/" + name;
}

} // namespace kitwell::platform
