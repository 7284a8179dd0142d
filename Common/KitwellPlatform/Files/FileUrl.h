#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// Whether the text can name an entry of a folder: not empty, at most 255 bytes, without "/" and NUL, and
// neither "." nor "..".
PLATFORM_API bool isPlainFileName(std::string_view name);

// The place of a file or folder. The text is kept as given; `path()` is without trailing slashes (but "/"
// stays).
class PLATFORM_API FileUrl {
public:
    FileUrl() = default;
    explicit FileUrl(std::string text) : text_(std::move(text)) {}

    const std::string& text() const { return text_; }
    std::string path() const;
    // "Sample.app" of "/a/Sample.app/"; "/" of "/"; empty for an empty URL.
    std::string lastPathComponent() const;
    FileUrl appending(std::string_view component) const;
    // "/a" of "/a/b", "/" of "/a" and of "/"; empty for a relative URL of one component.
    FileUrl deletingLastPathComponent() const;
    // "/a/Sample" of "/a/Sample.app"; a name that only begins with its dot has no extension.
    FileUrl deletingPathExtension() const;

    friend bool operator==(const FileUrl& left, const FileUrl& right) { return left.path() == right.path(); }

private:
    std::string text_;
};

// The folder that holds what the path names; "." for a path of one component.
PLATFORM_API std::string folderOf(const std::string& path);

} // namespace kitwell::platform
