#include "KitwellCommon/Telemetry/CEPLogGrab.h"

#include "KitwellCommon/Telemetry/LogTaking.h"
#include "KitwellPlatform/Files/FileManager.h"

namespace kitwell {

std::int32_t CEPLogGrab(std::int32_t* more) {
    return takeLog(more, [](platform::AppendFile&, const std::string& path) {
        return static_cast<bool>(platform::FileManager::removeFile(path));
    });
}

} // namespace kitwell
