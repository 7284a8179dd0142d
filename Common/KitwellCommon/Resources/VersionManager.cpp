#include "KitwellCommon/Resources/VersionManager.h"

#include <algorithm>

#include "KitwellPlatform/Values/Text.h"

namespace kitwell {

namespace {

using Bundle = platform::Bundle;

constexpr std::string_view kDigits = "0123456789";

// Digits only; what does not fit is the limit.
std::uint64_t readDigits(std::string_view digits, std::uint64_t limit) {
    std::uint64_t number = 0;
    for (const char character : digits) {
        const auto digit = static_cast<std::uint64_t>(character - '0');
        if (number > (limit - digit) / 10)
            return limit;
        number = number * 10 + digit;
    }
    return number;
}

std::uint64_t readLeadingInteger(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size()));
    const bool isNegative = text.starts_with('-');
    if (isNegative || text.starts_with('+'))
        text.remove_prefix(1);
    const std::string_view digits = text.substr(0, text.find_first_not_of(kDigits));
    constexpr auto kLargest = static_cast<std::uint64_t>(INT64_MAX);
    return isNegative ? -readDigits(digits, kLargest + 1) : readDigits(digits, kLargest);
}

std::optional<std::string_view> textUnder(const Bundle& bundle, std::string_view key) {
    const std::string* text = bundle.infoDictionary().findText(key);
    return text ? std::optional<std::string_view>(*text) : std::nullopt;
}

std::string filledWith(const Version& version, std::string_view format) {
    const auto number = [&](std::size_t position) {
        return static_cast<std::int64_t>(version.numberAtPosition(position));
    };
    return platform::formatText(format, number(0), number(1), number(2), number(3));
}

} // namespace

std::optional<Version> VersionManager::versionWithString(std::optional<std::string_view> text) {
    constexpr std::size_t kLength = 4;
    std::vector<std::uint64_t> numbers;
    std::string_view left = text.value_or("");
    for (;;) {
        left.remove_prefix(std::min(left.find_first_of(kDigits), left.size()));
        if (left.empty())
            break;
        if (numbers.size() == kLength)
            return std::nullopt;
        const std::string_view run = left.substr(0, left.find_first_not_of(kDigits));
        numbers.push_back(readDigits(run, INT64_MAX));
        left.remove_prefix(run.size());
    }
    return numbers.size() == kLength ? std::optional(Version(std::move(numbers))) : std::nullopt;
}

Version VersionManager::versionFromBundle(const Bundle* bundle) {
    std::vector<std::uint64_t> numbers;
    const auto shortVersion = bundle ? textUnder(*bundle, "CFBundleShortVersionString") : std::nullopt;
    for (std::size_t start = 0; shortVersion && start <= shortVersion->size();) {
        const std::size_t end = std::min(shortVersion->find('.', start), shortVersion->size());
        numbers.push_back(readLeadingInteger(shortVersion->substr(start, end - start)));
        start = end + 1;
    }
    const auto build = bundle ? textUnder(*bundle, "CFBundleVersion") : std::nullopt;
    numbers.push_back(readLeadingInteger(build.value_or("")));
    return Version(std::move(numbers));
}

Version VersionManager::mainBundleVersion() {
    return versionFromBundle(&Bundle::main());
}

std::string VersionManager::stringVersionFromBundle(const Bundle* bundle) {
    return versionToString(versionFromBundle(bundle));
}

std::string VersionManager::versionToString(const Version& version) {
    return filledWith(version, "%ld.%ld.%ld (%ld)");
}

std::string VersionManager::versionToStringReportForm(const Version& version) {
    return filledWith(version, "%ld.%ld.%ld-%ld");
}

std::string VersionManager::mainBundleVersionReportForm() {
    return versionToStringReportForm(mainBundleVersion());
}

} // namespace kitwell
