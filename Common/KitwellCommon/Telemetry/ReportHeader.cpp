#include "KitwellCommon/Telemetry/ReportHeader.h"

#include <algorithm>
#include <optional>

#include "KitwellCommon/Auxiliary/CommonAuxiliary.h"
#include "KitwellCommon/SuiteIdentifiers.h"
#include "KitwellCommon/Telemetry/CEPLog.h"
#include "KitwellCommon/Telemetry/CEPLogContext.h"
#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Applications/Workspace.h"
#include "KitwellPlatform/Machine/Machine.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "KitwellPlatform/Values/Text.h"
#include "KitwellPlatform/Values/Xml.h"

namespace kitwell {

namespace {

using platform::formatText;
using platform::UserDefaults;
using platform::Value;

constexpr std::size_t kMaxVersionSize = 49;
constexpr std::size_t kMaxModelSize = 1023;
constexpr std::int64_t kNotificationsEnabled = 0x08 | 0x10;
constexpr char kBrowserIdentifier[] = "com.apple.safari";

std::string osVersion() {
    const auto version = platform::Machine::osVersion();
    return formatText("%ld.%ld.%ld", version.majorVersion, version.minorVersion, version.patchVersion)
        .substr(0, kMaxVersionSize);
}

std::string browserVersion() {
    const auto url = platform::Workspace::urlForBundleIdentifier(kBrowserIdentifier);
    const auto bundle = url ? std::optional(platform::Bundle(*url)) : std::nullopt;
    const std::string* text =
        bundle ? bundle->infoDictionary().findText("CFBundleShortVersionString") : nullptr;
    return text ? *text : "";
}

std::string doNotDisturb() {
    const auto preferences = UserDefaults::forApplicationOnThisHost(kCFNotificationCenterUI);
    return preferences.boolForKey(kCFDoNotDisturb).value_or(false) ? "1" : "0";
}

std::optional<std::int64_t> wholeNumber(const Value* value) {
    if (!value)
        return std::nullopt;
    if (const std::int64_t* number = value->asSigned())
        return *number;
    if (const std::uint64_t* number = value->asUnsigned())
        return static_cast<std::int64_t>(*number);
    const double* real = value->asDouble();
    const bool fits = real && *real > -1e18 && *real < 1e18;
    return fits ? std::optional(static_cast<std::int64_t>(*real)) : std::nullopt;
}

// Nothing for what is no setting of one of the suite's applications.
std::string notificationLine(const Value& application) {
    const platform::Dictionary* settings = application.asDictionary();
    const std::string* identifier = settings ? settings->findText("bundle-id") : nullptr;
    const auto flags = settings ? wholeNumber(settings->find("flags")) : std::nullopt;
    if (!identifier || !flags || !identifier->starts_with(kAgentBundleIdentifier))
        return "";
    return formatText("\t<Notification tool=\"%@\" enabled=\"%@\">%@</Notification>\n", *identifier,
                      (*flags & kNotificationsEnabled) != 0 ? "yes" : "no", *flags);
}

std::string notificationLines() {
    const auto preferences = UserDefaults::forApplication(kCFNCPrefs);
    std::string lines;
    for (const Value& application : preferences.arrayForKey(kCFAppsSection).value_or(platform::Array()))
        lines += notificationLine(application);
    return lines;
}

bool isActive(const Value& shortcut) {
    const platform::Dictionary* settings = shortcut.asDictionary();
    const Value* active = settings ? settings->find("active") : nullptr;
    return active && active->truth();
}

std::string shortcutsLine() {
    const auto preferences = UserDefaults::forApplication(kAgentBundleIdentifier);
    const platform::Array shortcuts = preferences.arrayForKey("Shortcuts").value_or(platform::Array());
    const auto active = std::count_if(shortcuts.begin(), shortcuts.end(), isActive);
    return formatText("\t<Shortcuts count=\"%lu\" active_count=\"%lu\">%@</Shortcuts>\n", shortcuts.size(),
                      active, shortcuts.empty() ? "no" : "yes");
}

std::string switchLine(std::string_view format, bool isOn) {
    return formatText(format, isOn ? 1 : 0, isOn ? "yes" : "no");
}

std::string startupLine() {
    const auto& url = platform::Bundle::main().bundleUrl();
    return switchLine("\t<StartupAtLogin enabled=\"%d\">%@</StartupAtLogin>\n",
                      CommonAuxiliary::sharedInstance().findAppInLoginItems(url));
}

// Read from the file: the application's own object belongs to its main thread.
std::string updatesLine() {
    const std::string identifier = platform::Bundle::main().identifier();
    const bool isOff =
        !identifier.empty() &&
        UserDefaults::forApplication(identifier).boolForKey("disableAutomaticUpdates").value_or(false);
    return switchLine("\t<AutomaticUpdates enabled=\"%d\">%@</AutomaticUpdates>\n", !isOff);
}

std::string line(std::string_view element, std::string_view text) {
    return formatText("<%@>%@</%@>\n", element, text, element);
}

} // namespace

std::string reportHeader() {
    const std::string header =
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<CorvalenProblemReport>\n"
        "<Type>9</Type>\n"
        "<ReportReason>0</ReportReason>\n"
        "<ProductName>Corvalen Kitwell</ProductName>\n" +
        line("HardwareUUID", cepLogContext().hardwareUUID) + line("OSVersion", osVersion()) +
        line("ComputerModel", platform::Machine::model().substr(0, kMaxModelSize)) +
        line("Locale", cepLogContext().locale) + line("ClientVersion", cepLogContext().toolVersion) +
        line("SafariVersion", browserVersion()) + "<MoreHostInfo>\n" +
        line("SystemDoNotDisturb", doNotDisturb()) + "<Notifications>\n" + notificationLines() +
        "</Notifications>\n" + line("HasBattery", platform::Machine::hasInternalBattery() ? "yes" : "no") +
        "</MoreHostInfo>\n" + "<KitwellInfo>\n" + shortcutsLine() + startupLine() + updatesLine() +
        "</KitwellInfo>\n" + kEventsStart;
    return platform::withXmlCharactersOnly(header);
}

} // namespace kitwell
