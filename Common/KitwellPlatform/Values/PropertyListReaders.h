#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "KitwellPlatform/Values/PropertyList.h"

// The two readers behind parsePropertyList. Not for users of the library.
namespace kitwell::platform {

inline constexpr std::string_view kBinaryPropertyListMagic = "bplist00";
inline constexpr std::size_t kBinaryPropertyListTrailerSize = 32;

// What the reader may still build, counted at each place of use: one object of a small file may be used in a
// billion places.
struct PropertyListBudget {
    std::size_t values = kMaxPropertyListValues;
    std::size_t contentBytes = kMaxPropertyListBytes; // of texts and data

    bool takeValues(std::size_t count) { return take(values, count); }
    bool takeContent(std::size_t bytes) { return take(contentBytes, bytes); }

private:
    static bool take(std::size_t& left, std::size_t wanted) {
        const bool enough = wanted <= left;
        left -= enough ? wanted : 0;
        return enough;
    }
};

Error propertyListError(std::size_t position, std::string_view fault);

Result<Value> readBinaryPropertyList(std::span<const std::byte> bytes);
Result<Value> readXmlPropertyList(std::span<const std::byte> bytes);

// The scalars of an XML property list from the characters of their elements; nothing for any other
// characters.
std::optional<Value> integerFromXml(std::string_view characters);
std::optional<Value> realFromXml(std::string_view characters);
std::optional<Value> dateFromXml(std::string_view characters);
std::optional<Value> dataFromXml(std::string_view characters);

bool isXmlSpace(char character);

} // namespace kitwell::platform
