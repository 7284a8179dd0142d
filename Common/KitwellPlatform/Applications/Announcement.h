#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "KitwellPlatform/Applications/RunningApplication.h"
#include "KitwellPlatform/Files/LockedFile.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// How a process tells others that it runs: a file in the runtime folder that it keeps locked. The lock is the
// proof of life, since it ends with the process; a file that nobody has locked was left behind. Inside the
// library only.
class Announcement {
public:
    // Announces this process with its main bundle until the object goes.
    static Result<Announcement> make();

    Announcement(Announcement&& other) noexcept
        : file_(std::move(other.file_)), path_(std::exchange(other.path_, {})) {}
    Announcement& operator=(Announcement&&) = delete;
    ~Announcement();

private:
    Announcement(LockedFile file, std::string path) : file_(std::move(file)), path_(std::move(path)) {}

    LockedFile file_;
    std::string path_; // empty once it was moved from
};

// The folder of the announcements, which need not exist.
Result<std::string> announcementFolder();

// Reads what an announcement of this file name says; nothing when it does not belong to its name.
std::optional<RunningApplication> decodeAnnouncement(std::string_view name, std::string_view content);

inline constexpr std::size_t kMaxAnnouncementBytes = 16U << 10;

} // namespace kitwell::platform
