#include "KitwellPlatform/Files/ExtendedAttributes.h"

#include <cerrno>
#include <sys/xattr.h>

namespace kitwell::platform {

namespace {

std::string systemName(std::string_view name) {
    return "user." + std::string(name);
}

} // namespace

Result<void> setExtendedAttribute(const std::string& path, std::string_view name,
                                  std::span<const std::byte> value) {
    if (::setxattr(path.c_str(), systemName(name).c_str(), value.data(), value.size(), 0) != 0)
        return systemError("set the attribute " + std::string(name) + " of " + path, errno);
    return {};
}

std::optional<std::vector<std::byte>> extendedAttribute(const std::string& path, std::string_view name,
                                                        std::size_t limit) {
    const std::string attribute = systemName(name);
    const ssize_t size = ::getxattr(path.c_str(), attribute.c_str(), nullptr, 0);
    if (size < 0 || static_cast<std::size_t>(size) > limit)
        return std::nullopt;
    std::vector<std::byte> value(static_cast<std::size_t>(size));
    if (value.empty())
        return value;
    const ssize_t count = ::getxattr(path.c_str(), attribute.c_str(), value.data(), value.size());
    if (count < 0) // it was removed, or became longer in between
        return std::nullopt;
    value.resize(static_cast<std::size_t>(count));
    return value;
}

} // namespace kitwell::platform
