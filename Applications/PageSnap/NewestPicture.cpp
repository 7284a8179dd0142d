#include "NewestPicture.h"

#include <algorithm>
#include <filesystem>
#include <iterator>

#include "KitwellPlatform/Files/FileManager.h"
#include "Shared/Words.h"

namespace kitwell::applications {

namespace {

bool isNamedAsPicture(const std::filesystem::path& path) {
    constexpr const char* kEndings[] = {".png", ".jpg", ".jpeg", ".tif", ".tiff", ".bmp", ".gif", ".jp2"};
    return std::any_of(
        std::begin(kEndings), std::end(kEndings),
        [ending = path.extension().string()](const char* known) { return isSameName(ending, known); });
}

} // namespace

std::optional<std::string> newestPicture(const std::string& folder) {
    std::optional<std::string> newest;
    std::filesystem::file_time_type written;
    std::error_code failure;
    for (const std::string& name : platform::FileManager::namesInFolder(folder)) {
        const std::filesystem::path path = std::filesystem::path(folder) / name;
        if (!isNamedAsPicture(path) || !std::filesystem::is_regular_file(path, failure))
            continue;
        const auto moment = std::filesystem::last_write_time(path, failure);
        if (failure || (newest && moment <= written))
            continue;
        written = moment;
        newest = path.string();
    }
    return newest;
}

std::optional<std::string> freeDocument(const std::string& folder, const std::string& name) {
    constexpr int kMostOfOneName = 1000;
    for (int number = 1; number <= kMostOfOneName; ++number) {
        const std::string suffix = number > 1 ? " " + std::to_string(number) : std::string();
        std::string path = std::string(folder).append("/").append(name).append(suffix).append(".pdf");
        if (!platform::FileManager::fileExists(path))
            return path;
    }
    return std::nullopt;
}

} // namespace kitwell::applications
