#include "KitwellCommon/Telemetry/ReportDocument.h"

#include <algorithm>
#include <string>

#include "KitwellCommon/Telemetry/EventText.h"
#include "KitwellCommon/Telemetry/ReportHeader.h"
#include "KitwellPlatform/Values/Xml.h"

namespace kitwell {

namespace {

constexpr std::string_view kClosing = "</CepCustomData>\n</CorvalenProblemReport>\n";
constexpr auto kNone = std::string_view::npos;

std::size_t closingLengthAtEnd(std::string_view body) {
    std::size_t length = std::min(kClosing.size(), body.size());
    while (!body.ends_with(kClosing.substr(0, length)))
        --length;
    return length;
}

// Whether what stands here is an event, and not a container of that name: by its time, and by what must
// follow that on its line.
bool isEventStart(std::string_view events, std::size_t at) {
    constexpr std::size_t kTimestampSize = 23;
    constexpr std::size_t kMaxIdentitySize = 16384;
    const std::size_t after = at + kEventStart.size() + kTimestampSize;
    if (after >= events.size() || !events.substr(after).starts_with("\" tool"))
        return false;
    const std::string_view identity = events.substr(after, kMaxIdentitySize);
    const std::string_view line = identity.substr(0, identity.find(">\n"));
    const std::size_t version = line.find(" toolversion=\"", line.find(" toollocation=\""));
    return line.find(" action=\"", version) != kNone;
}

// What is left of an event that has not come so far is no beginning.
std::size_t nextEventStart(std::string_view events, std::size_t from) {
    std::size_t at = events.find(kEventStart, from);
    while (at != kNone && !isEventStart(events, at))
        at = events.find(kEventStart, at + 1);
    return std::min(at, events.size());
}

// Where a text stands next, for places that are asked about in rising order: every byte is looked at once.
class NextPlace {
public:
    NextPlace(std::string_view text, std::string_view wanted) : text_(text), wanted_(wanted) {}
    std::size_t from(std::size_t at) {
        if (place_ != kNone && (!hasLooked_ || place_ < at))
            place_ = text_.find(wanted_, at);
        hasLooked_ = true;
        return place_;
    }

private:
    std::string_view text_;
    std::string_view wanted_;
    std::size_t place_ = 0;
    bool hasLooked_ = false;
};

// Finds where events end.
class EventEnds {
public:
    explicit EventEnds(std::string_view events)
        : events_(events), lineEnds_(events, ">\n"), ends_(events, kEventEnd) {}

    // Of the event that begins here, when it is whole.
    std::size_t after(std::size_t start) {
        const std::size_t lineEnd = lineEnds_.from(start);
        if (lineEnd == kNone)
            return kNone;
        if (events_[lineEnd - 1] == '/')
            return lineEnd + 2;
        const std::size_t end = ends_.from(lineEnd + 1);
        return end == kNone ? kNone : end + kEventEnd.size();
    }

private:
    std::string_view events_;
    NextPlace lineEnds_;
    NextPlace ends_;
};

// Tells whether what looks like the next event is a container of that name within this one. Behind a tab it
// may be either. Asked too often, as by a file that nobody here wrote, it looks no more.
class ContainerCheck {
public:
    bool isWithin(std::string_view events, std::size_t next, std::size_t start, std::size_t end) {
        const std::size_t size = end - start;
        if (events[next - 1] != '\t' || size > bytesLeft_)
            return false;
        bytesLeft_ -= size;
        return static_cast<bool>(platform::readXml(events.substr(start, size), {}));
    }

private:
    std::size_t bytesLeft_ = std::size_t{32} << 20U;
};

std::vector<DocumentPart> brokenPartsOf(std::string_view events) {
    std::vector<DocumentPart> parts;
    EventEnds ends(events);
    ContainerCheck check;
    std::size_t at = 0;
    while ((at = events.find_first_not_of(' ', at)) != kNone) {
        const bool isStart = events.substr(at).starts_with(kEventStart);
        const std::size_t end = isStart ? ends.after(at) : kNone;
        const std::size_t next = nextEventStart(events, at + 1);
        if (end != kNone && (end <= next || check.isWithin(events, next, at, end))) {
            at = end;
        } else {
            parts.push_back({at, next - at});
            at = next;
        }
    }
    return parts;
}

} // namespace

DocumentState documentState(std::string_view document) {
    const std::size_t headerEnd = document.find(kEventsStart);
    const std::size_t start =
        headerEnd == kNone ? document.size() : headerEnd + std::string_view(kEventsStart).size();
    const std::string_view body = document.substr(start);
    const std::size_t closingLength = closingLengthAtEnd(body);
    DocumentState state{brokenPartsOf(body.substr(0, body.size() - closingLength)),
                        kClosing.substr(closingLength)};
    for (DocumentPart& part : state.brokenParts)
        part.start += start;
    return state;
}

} // namespace kitwell
