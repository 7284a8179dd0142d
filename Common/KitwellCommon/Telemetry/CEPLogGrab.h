#pragma once

#include <cstdint>

#include "KitwellCommon/Export.h"

namespace kitwell {

inline constexpr std::int32_t kCEPGrabNothing = -1;        // nothing, or nothing more, to collect
inline constexpr std::int32_t kCEPGrabNoSealedLog = -621;  // the sealed log is there and cannot be read
inline constexpr std::int32_t kCEPGrabNoLog = -628;        // the log is there and cannot be opened
inline constexpr std::int32_t kCEPGrabNoLogStatus = -634;  // the open log cannot be looked at
inline constexpr std::int32_t kCEPGrabNoPathStatus = -640; // the log's path cannot be looked at
inline constexpr std::int32_t kCEPGrabNotSealed = -653;    // the log cannot get the sealed name

// Takes one sealed log out of the folder: a descriptor open for reading from its start, which the caller
// closes, or a negative code of those above. A log that waits is taken first; else the active one is sealed
// and taken, or in its place one under the older name while that exists. `more` is set to 1 when there may be
// another to take, else to 0. Waits for writers. CEPLogInit comes first; any thread.
KITWELL_API std::int32_t CEPLogGrab(std::int32_t* more);

} // namespace kitwell
