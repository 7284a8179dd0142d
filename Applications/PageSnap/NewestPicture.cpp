#include "NewestPicture.h"

#include <filesystem>

#include "KitwellPlatform/Files/FileManager.h"
#include "Shared/PictureNames.h"

namespace kitwell::applications {

std::optional<std::string> newestPicture(const std::string& folder) {
    std::optional<std::string> newest;
    std::filesystem::file_time_type written;
    std::error_code failure;
    for (const std::string& name : platform::FileManager::namesInFolder(folder)) {
        const std::filesystem::path path = std::filesystem::path(folder) / name;
        if (!pictureTypeOf(name) || !std::filesystem::is_regular_file(path, failure))
            continue;
        const auto moment = std::filesystem::last_write_time(path, failure);
        if (failure || (newest && moment <= written))
            continue;
        written = moment;
        newest = path.string();
    }
    return newest;
}

} // namespace kitwell::applications
