#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "KitwellCommon/Export.h"

namespace kitwell {

// A log is a report document in the making: header, events, closing. What a full disk or a killed writer left
// of an event, or of the closing, is found when the document is sealed or collected, and mended then.

struct DocumentPart {
    std::uint64_t start = 0;
    std::uint64_t size = 0;

    friend bool operator==(const DocumentPart&, const DocumentPart&) = default;
};

struct DocumentState {
    std::vector<DocumentPart> brokenParts; // what is no whole event, between header and closing
    std::string_view missingClosing;       // what is still to be appended

    bool isComplete() const { return brokenParts.empty() && missingClosing.empty(); }
};

// One without a whole header has no events and no broken parts, and lacks its closing. Takes one pass.
KITWELL_API DocumentState documentState(std::string_view document);

// Larger files are no logs of this system.
inline constexpr std::size_t kMaxReportSize = std::size_t{256} << 20U;

} // namespace kitwell
