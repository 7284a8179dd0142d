#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Values/Result.h"

namespace kitwell::platform {

// Appends the text as the value of an attribute in double quotes: "&", "<", ">" and the double quote as
// entities; control characters and every character outside ASCII as hexadecimal references ("&#xE9;"); what
// XML has no character for, and bytes that are not UTF-8, as U+FFFD. Any thread.
PLATFORM_API void appendXmlAttributeText(std::string& xml, std::string_view text);

// The text with what no XML document may hold (control characters but tab and line breaks, bytes that are not
// UTF-8) replaced by U+FFFD; everything else, markup too, stays as it is.
PLATFORM_API std::string withXmlCharactersOnly(std::string_view text);

struct PLATFORM_API XmlElement {
    std::string_view name;
    std::vector<std::pair<std::string_view, std::string_view>> attributes; // in their order
    std::size_t line = 0;                                                  // from 1

    // Empty when there is none of this name.
    std::string_view attribute(std::string_view attributeName) const;
};

// What is told of a document, in its order. The views are valid during the call. Each may be empty.
struct XmlEvents {
    std::function<void(const XmlElement&)> elementBegan;
    std::function<void(std::string_view name)> elementEnded;
    std::function<void(std::string_view)> characters; // in pieces
};

// Reads a whole document. A document that is not well-formed, or that declares entities of its own, is an
// error whose code is the line and whose description names line and column; what stood before was told.
PLATFORM_API Result<void> readXml(std::string_view document, const XmlEvents& events);

} // namespace kitwell::platform
