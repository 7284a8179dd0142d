#include "KitwellCommon/Telemetry/ReportDocument.h"

#include <algorithm>
#include <string>

#include "KitwellCommon/Telemetry/EventText.h"
#include "KitwellCommon/Telemetry/ReportHeader.h"

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

// Where the next event begins: its time and what must follow it tell it from a container of that name.
std::size_t nextEventStart(std::string_view events, std::size_t from) {
    constexpr std::size_t kTimestampSize = 23;
    constexpr std::string_view kAfterTimestamp = "\" tool";
    for (std::size_t at = events.find(kEventStart, from); at != kNone;
         at = events.find(kEventStart, at + 1)) {
        const std::size_t after = at + kEventStart.size() + kTimestampSize;
        if (after < events.size() && events.substr(after).starts_with(kAfterTimestamp))
            return at;
    }
    return events.size();
}

// Where the event that begins here ends, when it is whole.
std::size_t eventEnd(std::string_view events, std::size_t start) {
    const std::size_t lineEnd = events.find(">\n", start);
    if (lineEnd == kNone)
        return kNone;
    if (events[lineEnd - 1] == '/')
        return lineEnd + 2;
    const std::size_t end = events.find(kEventEnd, lineEnd);
    return end == kNone ? kNone : end + kEventEnd.size();
}

std::vector<DocumentPart> brokenPartsOf(std::string_view events) {
    std::vector<DocumentPart> parts;
    std::size_t at = 0;
    while ((at = events.find_first_not_of(' ', at)) != kNone) {
        const bool isStart = events.substr(at).starts_with(kEventStart);
        const std::size_t end = isStart ? eventEnd(events, at) : kNone;
        const std::size_t next = nextEventStart(events, at + 1);
        if (end != kNone && end <= next) {
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

bool CEPLogCloseReport(platform::AppendFile& file) {
    const auto content = file.contents(kMaxReportSize);
    if (!content)
        return false;
    const DocumentState state = documentState(content->text());
    for (const DocumentPart& part : state.brokenParts) {
        if (!file.overwrite(part.start, std::string(part.size, ' ')))
            return false;
    }
    return state.missingClosing.empty() || file.append(state.missingClosing);
}

} // namespace kitwell
