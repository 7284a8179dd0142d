#include "KitwellCommon/Admin/KWSKeyValueHelper.h"

#include <algorithm>

#include "KitwellCommon/Admin/KWSAdminStorage.h"
#include "KitwellCommon/Logging/KWLog.h"

namespace kitwell {

namespace {

// The space separators of Unicode and the tab; line breaks are none of them.
constexpr std::string_view kSpaces[] = {
    " ",      "\t",     "\u00A0", "\u1680", "\u2000", "\u2001", "\u2002", "\u2003", "\u2004",
    "\u2005", "\u2006", "\u2007", "\u2008", "\u2009", "\u200A", "\u202F", "\u205F", "\u3000",
};

// How many bytes the space takes that the text begins, or ends, with; 0 when there is none.
std::size_t leadingSpace(std::string_view text) {
    const auto found = std::find_if(std::begin(kSpaces), std::end(kSpaces),
                                    [text](std::string_view space) { return text.starts_with(space); });
    return found == std::end(kSpaces) ? 0 : found->size();
}

std::size_t trailingSpace(std::string_view text) {
    const auto found = std::find_if(std::begin(kSpaces), std::end(kSpaces),
                                    [text](std::string_view space) { return text.ends_with(space); });
    return found == std::end(kSpaces) ? 0 : found->size();
}

std::string_view trimmed(std::string_view text) {
    while (const std::size_t space = leadingSpace(text))
        text.remove_prefix(space);
    while (const std::size_t space = trailingSpace(text))
        text.remove_suffix(space);
    return text;
}

platform::Array partsOf(std::string_view text) {
    platform::Array parts;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        parts.emplace_back(trimmed(text.substr(start, end - start)));
        start = end + 1;
    }
    return parts;
}

} // namespace

bool KWSKeyValueHelper::arrayFromWhiteListString(std::optional<std::string_view> text,
                                                 std::optional<platform::Array>* outArray,
                                                 std::int64_t* errorCode) {
    if (!outArray || !errorCode)
        return false;
    outArray->reset();
    *errorCode = KWS_ERR_COMMON;
    if (!text)
        return false;
    platform::Array parts = partsOf(*text);
    const platform::Value predefined(kKWSWhiteToolsList_BusinessToolsetValue);
    if (parts.size() > 1 && std::find(parts.begin(), parts.end(), predefined) != parts.end()) {
        KWLogVariadic("Ambigius white-tools-list parameters. Value '%@' must be used singly.",
                      kKWSWhiteToolsList_BusinessToolsetValue);
        return false;
    }
    const bool isBlank = parts.size() == 1 && parts.front() == platform::Value("");
    if (!isBlank)
        *outArray = std::move(parts);
    *errorCode = 0;
    return true;
}

} // namespace kitwell
