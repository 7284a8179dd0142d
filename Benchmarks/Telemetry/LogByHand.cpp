#include "Telemetry/LogByHand.h"

#include <array>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "Support/Partner.h"

namespace kitwell::benchmarks {

using platform::FileDescriptor;

void appendByHand(const std::string& path, const std::string& bytes) {
    const FileDescriptor file(::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644));
    struct stat status {};
    if (::flock(file.get(), LOCK_SH) != 0 || ::fstat(file.get(), &status) != 0 ||
        ::write(file.get(), bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        fail("cannot append to " + path);
}

void collectByHand(const std::string& log, const std::string& report) {
    const std::string moved = log + ".moved";
    if (::rename(log.c_str(), moved.c_str()) != 0)
        fail("cannot rename " + log);
    const FileDescriptor from(::open(moved.c_str(), O_RDONLY | O_CLOEXEC));
    const FileDescriptor to(::open(report.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644));
    std::array<char, 16384> piece;
    for (ssize_t count = 0; (count = ::read(from.get(), piece.data(), piece.size())) > 0;) {
        if (::write(to.get(), piece.data(), static_cast<std::size_t>(count)) != count)
            fail("cannot write " + report);
    }
    if (::fsync(to.get()) != 0 || ::unlink(moved.c_str()) != 0)
        fail("cannot finish " + report);
}

} // namespace kitwell::benchmarks
