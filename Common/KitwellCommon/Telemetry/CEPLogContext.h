#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "KitwellCommon/Export.h"

namespace kitwell {

// What every event of this process says of it, and where events go.
struct CEPLogContext {
    std::string hardwareUUID;                  // of this machine for this suite; empty when it has none
    std::string locale;                        // such as "de_DE"
    std::string activeLogPath;                 // events are appended here
    std::string legacyLogPath;                 // collected in place of the active log while it exists
    std::string sealedLogPath;                 // closed, waiting to be collected
    std::optional<std::string> toolIdentifier; // the main bundle's
    std::string toolLocation;                  // the main bundle's path
    std::string toolVersion;                   // "2.4.1-918"
};

// CEPLogInit: the folder of the logs can neither be made nor found.
inline constexpr std::int32_t kCEPErrorNoLogFolder = -226;

// Fills the process's context: 0, also when the process runs outside any bundle and has no identity to tell;
// kCEPErrorNoLogFolder when there is no place for logs, with paths and identity unset. Without a lock: once,
// before other threads record anything.
KITWELL_API std::int32_t CEPLogInit();

// As CEPLogInit filled it; empty before. Any thread.
KITWELL_API const CEPLogContext& cepLogContext();

} // namespace kitwell
