#include "ReportCheck.h"

#include <algorithm>
#include <iterator>

#include "KitwellPlatform/Values/Xml.h"

namespace kitwell::applications {

using platform::XmlElement;

namespace {

struct HeaderElement {
    std::string_view path;            // below the root
    std::string_view attributes = {}; // those it begins with, each followed by a blank
};

constexpr std::string_view kRoot = "CorvalenProblemReport";

// In their order.
const HeaderElement kHeader[] = {{"/Type"},
                                 {"/ReportReason"},
                                 {"/ProductName"},
                                 {"/HardwareUUID"},
                                 {"/OSVersion"},
                                 {"/ComputerModel"},
                                 {"/Locale"},
                                 {"/ClientVersion"},
                                 {"/SafariVersion"},
                                 {"/MoreHostInfo"},
                                 {"/MoreHostInfo/SystemDoNotDisturb"},
                                 {"/MoreHostInfo/Notifications"},
                                 {"/MoreHostInfo/HasBattery"},
                                 {"/KitwellInfo"},
                                 {"/KitwellInfo/Shortcuts", "count active_count "},
                                 {"/KitwellInfo/StartupAtLogin", "enabled "},
                                 {"/KitwellInfo/AutomaticUpdates", "enabled "},
                                 {"/CepCustomData"}};
const HeaderElement kNotification{"/MoreHostInfo/Notifications/Notification", "tool enabled "};
constexpr std::string_view kEvent = "/CepCustomData/event";

std::string_view lastName(std::string_view path) {
    return path.substr(path.rfind('/') + 1);
}

bool isTimestamp(std::string_view text) {
    constexpr std::string_view kForm = "0000-00-00 00:00:00.000";
    return std::equal(text.begin(), text.end(), kForm.begin(), kForm.end(), [](char character, char form) {
        return form == '0' ? character >= '0' && character <= '9' : character == form;
    });
}

bool beginsWith(const XmlElement& element, std::string_view attributes) {
    std::string names;
    for (const auto& [name, value] : element.attributes)
        (names += name) += ' ';
    return names.starts_with(attributes);
}

// Follows the elements of a document.
class ShapeCheck {
public:
    explicit ShapeCheck(std::vector<ReportFinding>& findings) : findings_(findings) {}

    void begin(const XmlElement& element) {
        if (depth_++ == 0)
            return checkRoot(element);
        (path_ += '/') += element.name;
        if (path_ == kEvent)
            checkEvent(element);
        else if (path_ == kNotification.path)
            checkAttributes(element, kNotification);
        else if (!path_.starts_with(kEvent) && !isOutOfStep_)
            checkHeaderElement(element);
    }
    void end() {
        if (--depth_ > 0)
            path_.erase(path_.rfind('/'));
    }
    void finish() {
        if (!isOutOfStep_ && next_ != std::end(kHeader))
            findings_.push_back({0, "lacks the element " + std::string(lastName(next_->path))});
    }

private:
    void checkRoot(const XmlElement& element) {
        isOutOfStep_ = element.name != kRoot;
        if (isOutOfStep_)
            add(element, "is " + std::string(element.name) + " where " + std::string(kRoot) + " belongs");
    }
    // One fault is told: behind it, no element is where it should be.
    void checkHeaderElement(const XmlElement& element) {
        isOutOfStep_ = next_ == std::end(kHeader) || path_ != next_->path;
        if (!isOutOfStep_)
            return checkAttributes(element, *next_++);
        const std::string expected(next_ == std::end(kHeader) ? "nothing" : lastName(next_->path));
        add(element, "is " + std::string(element.name) + " where " + expected + " belongs");
    }
    void checkAttributes(const XmlElement& element, const HeaderElement& expected) {
        if (!beginsWith(element, expected.attributes))
            add(element, std::string(element.name) + " lacks its attributes");
    }
    void checkEvent(const XmlElement& element) {
        if (!beginsWith(element, "timestamp tool toollocation toolversion action ") &&
            !beginsWith(element, "timestamp toollocation toolversion action "))
            add(element, "an event lacks its attributes, or has them in another order");
        else if (!isTimestamp(element.attribute("timestamp")))
            add(element, "an event has no time");
    }
    void add(const XmlElement& element, std::string text) {
        findings_.push_back({element.line, std::move(text)});
    }

    std::vector<ReportFinding>& findings_;
    std::string path_;
    std::size_t depth_ = 0;
    const HeaderElement* next_ = std::begin(kHeader);
    bool isOutOfStep_ = false;
};

} // namespace

std::vector<ReportFinding> checkReport(const WaitingDocument& document) {
    const auto whole = readWhole(document.path);
    if (!whole && platform::isNoSuchFile(whole.error()))
        return {};
    if (!whole)
        return {{0, whole.error().description}};
    std::vector<ReportFinding> findings;
    for (const std::size_t line : whole->brokenLines)
        findings.push_back({line, "is no whole event"});
    if (document.isReport() && !whole->wasClosed)
        findings.push_back({0, "is not closed"});
    ShapeCheck shape(findings);
    const auto read =
        platform::readXml(whole->text, {[&](const XmlElement& element) { shape.begin(element); },
                                        [&](std::string_view) { shape.end(); },
                                        {}});
    if (read)
        shape.finish();
    else
        findings.push_back({static_cast<std::size_t>(read.error().code), read.error().description});
    return findings;
}

} // namespace kitwell::applications
