#include "KitwellCommon/Admin/KWSErrorCodes.h"

#include <cerrno>
#include <span>
#include <system_error>

#include "KitwellPlatform/Values/Json.h"

namespace kitwell {

namespace {

struct Meaning {
    std::errc cause;
    std::int64_t code;
};

constexpr Meaning kReading[] = {
    {std::errc::no_such_file_or_directory, KWS_ERR_READ_MISSING},
    {std::errc::permission_denied, KWS_ERR_READ_DENIED},
    {std::errc::operation_not_permitted, KWS_ERR_READ_DENIED},
    {std::errc::invalid_argument, KWS_ERR_READ_NO_FILE},
    {std::errc::not_a_directory, KWS_ERR_READ_NO_FILE},
    {std::errc::no_such_device_or_address, KWS_ERR_READ_NO_FILE},
    {std::errc::too_many_symbolic_link_levels, KWS_ERR_READ_NO_FILE},
    {std::errc::file_too_large, KWS_ERR_READ_TOO_LARGE},
};

constexpr Meaning kWriting[] = {
    {std::errc::permission_denied, KWS_ERR_WRITE_DENIED},
    {std::errc::operation_not_permitted, KWS_ERR_WRITE_DENIED},
    {std::errc::no_space_on_device, KWS_ERR_WRITE_NO_SPACE},
    {static_cast<std::errc>(EDQUOT), KWS_ERR_WRITE_NO_SPACE}, // a quota, which the standard has no name for
    {std::errc::read_only_file_system, KWS_ERR_WRITE_READ_ONLY},
    {std::errc::invalid_argument, KWS_ERR_WRITE_NO_FILE},
    {std::errc::not_a_directory, KWS_ERR_WRITE_NO_FILE},
    {std::errc::is_a_directory, KWS_ERR_WRITE_NO_FILE},
    {std::errc::file_exists, KWS_ERR_WRITE_NO_FILE},
    {std::errc::too_many_symbolic_link_levels, KWS_ERR_WRITE_SYMLINK},
    {std::errc::no_such_file_or_directory, KWS_ERR_WRITE_MISSING},
};

std::int64_t codeForJson(std::int64_t code) {
    switch (static_cast<platform::JsonFault>(code)) {
    case platform::JsonFault::Empty:
        return KWS_ERR_JSON_EMPTY;
    case platform::JsonFault::Encoding:
        return KWS_ERR_JSON_ENCODING;
    case platform::JsonFault::Number:
        return KWS_ERR_JSON_NUMBER;
    case platform::JsonFault::Depth:
        return KWS_ERR_JSON_DEPTH;
    case platform::JsonFault::Size:
        return KWS_ERR_JSON_SIZE;
    case platform::JsonFault::Unwritable:
        return KWS_ERR_JSON_UNWRITABLE;
    case platform::JsonFault::Syntax:
        break;
    }
    return KWS_ERR_JSON;
}

std::int64_t codeForSystem(std::int64_t cause, KWSOperation operation) {
    const bool isReading = operation == KWSOperation::Read;
    for (const Meaning& meaning : isReading ? std::span<const Meaning>(kReading) : kWriting) {
        if (static_cast<std::int64_t>(meaning.cause) == cause)
            return meaning.code;
    }
    return isReading ? KWS_ERR_READ : KWS_ERR_WRITE;
}

} // namespace

platform::Error KWSErrorFor(const platform::Error& error, KWSOperation operation) {
    const std::int64_t code = error.domain == platform::kJsonErrorDomain
                                  ? codeForJson(error.code)
                                  : codeForSystem(error.code, operation);
    return {std::string(kKWSErrorDomain), code, error.description};
}

} // namespace kitwell
