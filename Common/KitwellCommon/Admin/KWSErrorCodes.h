#pragma once

#include <cstdint>
#include <string_view>

#include "KitwellCommon/Export.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell {

// The failures of the administrator's settings. 0 is success; the numbers never change their meaning.
inline constexpr std::int64_t KWS_ERR_COMMON =
    -1; // without a more specific cause; the top level is no object

inline constexpr std::int64_t KWS_ERR_READ = 100;         // of another cause than these
inline constexpr std::int64_t KWS_ERR_READ_MISSING = 101; // there is no such file
inline constexpr std::int64_t KWS_ERR_READ_DENIED = 102;  // this user may not read it
inline constexpr std::int64_t KWS_ERR_READ_NO_FILE =
    103; // a folder, device or circle of symlinks, or a file where a folder should be
inline constexpr std::int64_t KWS_ERR_READ_TOO_LARGE = 104; // beyond kKWSMaxSettingsBytes

inline constexpr std::int64_t KWS_ERR_WRITE = 200;           // of another cause than these
inline constexpr std::int64_t KWS_ERR_WRITE_DENIED = 201;    // this user has not the rights
inline constexpr std::int64_t KWS_ERR_WRITE_NO_SPACE = 202;  // the disk, or this user's share of it, is full
inline constexpr std::int64_t KWS_ERR_WRITE_READ_ONLY = 203; // the volume
inline constexpr std::int64_t KWS_ERR_WRITE_NO_FILE =
    204; // a folder or device stands there, or a file for a folder
inline constexpr std::int64_t KWS_ERR_WRITE_SYMLINK = 205;  // which is not followed
inline constexpr std::int64_t KWS_ERR_WRITE_MISSING = 206;  // the folder is not there
inline constexpr std::int64_t KWS_ERR_WRITE_NO_GROUP = 207; // the system has no group of administrators

inline constexpr std::int64_t KWS_ERR_JSON = 300;            // the text is not JSON
inline constexpr std::int64_t KWS_ERR_JSON_EMPTY = 301;      // nothing but white space
inline constexpr std::int64_t KWS_ERR_JSON_ENCODING = 302;   // not UTF-8, or half a surrogate pair
inline constexpr std::int64_t KWS_ERR_JSON_NUMBER = 303;     // beyond the range of a double
inline constexpr std::int64_t KWS_ERR_JSON_DEPTH = 304;      // nested too deep
inline constexpr std::int64_t KWS_ERR_JSON_SIZE = 305;       // more bytes or values than are read
inline constexpr std::int64_t KWS_ERR_JSON_UNWRITABLE = 306; // a value that JSON has no word for

inline constexpr std::string_view kKWSErrorDomain = "com.corvalen.kitwell.settings";

enum class KWSOperation { Read, Write };

// The platform's error in the words above: the same description, domain kKWSErrorDomain and the code of the
// table. Any thread.
KITWELL_API platform::Error KWSErrorFor(const platform::Error& error, KWSOperation operation);

} // namespace kitwell
