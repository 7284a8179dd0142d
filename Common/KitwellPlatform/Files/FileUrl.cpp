#include "KitwellPlatform/Files/FileUrl.h"

namespace kitwell::platform {

namespace {

constexpr std::size_t kMaxFileName = 255;

std::string withoutTrailingSlashes(std::string_view text) {
    const std::size_t last = text.find_last_not_of('/');
    if (last == std::string_view::npos)
        return text.empty() ? "" : "/";
    return std::string(text.substr(0, last + 1));
}

} // namespace

bool isPlainFileName(std::string_view name) {
    return !name.empty() && name.size() <= kMaxFileName && name != "." && name != ".." &&
           name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

std::string FileUrl::path() const {
    return withoutTrailingSlashes(text_);
}

std::string FileUrl::lastPathComponent() const {
    std::string whole = path();
    if (whole == "/")
        return whole;
    return whole.substr(whole.rfind('/') + 1); // a path without "/" is its own last component
}

FileUrl FileUrl::appending(std::string_view component) const {
    std::string whole = path();
    if (!whole.empty() && whole != "/")
        whole += '/';
    return FileUrl(whole += component);
}

FileUrl FileUrl::deletingLastPathComponent() const {
    const std::string whole = path();
    const std::size_t slash = whole.rfind('/');
    if (slash == std::string::npos)
        return {};
    return FileUrl(withoutTrailingSlashes(whole.substr(0, slash + 1)));
}

FileUrl FileUrl::deletingPathExtension() const {
    const std::string name = lastPathComponent();
    const std::size_t dot = name.rfind('.');
    if (dot == 0 || dot == std::string::npos)
        return FileUrl(path());
    const std::string whole = path();
    return FileUrl(whole.substr(0, whole.size() - (name.size() - dot)));
}

std::string folderOf(const std::string& path) {
    const std::string folder = FileUrl(path).deletingLastPathComponent().path();
    return folder.empty() ? "." : folder;
}

} // namespace kitwell::platform
