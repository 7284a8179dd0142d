#include "KitwellPlatform/Ports/SealedMemory.h"

#include <array>
#include <cerrno>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include "KitwellPlatform/Ports/PortMessage.h"

namespace kitwell::platform {

namespace {

constexpr int kSeals = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE | F_SEAL_SEAL;

Error portError(std::string description) {
    return {"ports", 0, std::move(description)};
}

// One call writes up to 2 GiB, so anything short of all means that memory is short.
Result<void> writeBlocks(int file, std::span<const Data> blocks) {
    std::array<iovec, kMaxMessageComponents> parts{};
    std::size_t total = 0;
    for (std::size_t index = 0; index < blocks.size(); ++index) {
        parts[index] = {const_cast<std::byte*>(blocks[index].data()), blocks[index].size()};
        total += blocks[index].size();
    }
    const ssize_t written = ::writev(file, parts.data(), static_cast<int>(blocks.size()));
    if (written < 0 || static_cast<std::size_t>(written) != total)
        return systemError("fill shared memory", written < 0 ? errno : ENOMEM);
    return {};
}

} // namespace

Result<FileDescriptor> sealedMemoryOf(std::span<const Data> blocks) {
    FileDescriptor file(::memfd_create("message", MFD_CLOEXEC | MFD_ALLOW_SEALING));
    if (!file)
        return systemError("make shared memory", errno);
    if (auto written = writeBlocks(file.get(), blocks); !written)
        return written.error();
    if (::fcntl(file.get(), F_ADD_SEALS, kSeals) != 0)
        return systemError("seal shared memory", errno);
    return file;
}

Result<std::shared_ptr<const void>> mapSealedMemory(int descriptor, std::size_t size) {
    constexpr int kNeeded = F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;
    const int seals = ::fcntl(descriptor, F_GET_SEALS);
    if (seals < 0 || (seals & kNeeded) != kNeeded)
        return portError("the shared memory is not sealed");
    struct stat status {};
    if (::fstat(descriptor, &status) != 0 || static_cast<std::size_t>(status.st_size) != size)
        return portError("the shared memory is not of the announced size");
    void* const address = ::mmap(nullptr, size, PROT_READ, MAP_PRIVATE, descriptor, 0);
    if (address == MAP_FAILED)
        return systemError("map shared memory", errno);
    return std::shared_ptr<const void>(address, [size](void* mapped) { ::munmap(mapped, size); });
}

} // namespace kitwell::platform
