#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "KitwellCommon/Export.h"
#include "KitwellCommon/Resources/Version.h"
#include "KitwellPlatform/Applications/Bundle.h"

namespace kitwell {

// Reads versions from bundles and texts, and writes them as texts in two forms: the display form
// "4.2.1 (3375)" and the report form "4.2.1-3375". Both show the first four numbers, each as a signed one,
// and 9223372036854775807 for a number that is missing.
//
// Numbers are read as signed 64-bit ones: what is beyond their range counts as the end of the range, and a
// negative number of a bundle is held as the unsigned one of the same bits. Digits are 0 to 9 only.
//
// Keeps no state; any thread.
class KITWELL_API VersionManager {
public:
    VersionManager() = delete;

    // The four runs of digits in the text, whatever stands between them: either form reads back. Nothing for
    // no text, and for a text with fewer or more runs.
    static std::optional<Version> versionWithString(std::optional<std::string_view> text);

    // Each part between the dots of "CFBundleShortVersionString", then "CFBundleVersion". Of each what it
    // begins with counts: white space, a sign, digits; 0 where there are no digits. A missing short version
    // has no parts. No bundle, or one without either key, has the version [0].
    static Version versionFromBundle(const platform::Bundle* bundle);
    static Version mainBundleVersion();

    // The display form of the bundle's version.
    static std::string stringVersionFromBundle(const platform::Bundle* bundle);
    static std::string versionToString(const Version& version);
    static std::string versionToStringReportForm(const Version& version);
    static std::string mainBundleVersionReportForm();
};

} // namespace kitwell
