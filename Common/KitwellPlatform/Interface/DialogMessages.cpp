#include "KitwellPlatform/Interface/DialogMessages.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdint>
#include <span>

#include "KitwellPlatform/Values/Text.h"

namespace kitwell::platform {

namespace {

using Fields = std::vector<std::string>;

constexpr std::uint64_t kLastStyle = static_cast<std::uint64_t>(AlertStyle::Critical);

// ---- Texts to bytes and back

std::optional<std::string> joined(const Fields& fields) {
    std::string packet;
    for (const std::string& field : fields) {
        if (field.find('\0') != std::string::npos || field.size() > kMaxDialogPacket)
            return std::nullopt;
        packet += field;
        packet += '\0';
    }
    return packet;
}

std::optional<Fields> split(std::string_view packet) {
    if (packet.empty() || packet.size() > kMaxDialogPacket || packet.back() != '\0')
        return std::nullopt;
    Fields fields;
    for (std::size_t start = 0; start < packet.size();) {
        const std::size_t end = packet.find('\0', start);
        fields.emplace_back(packet.substr(start, end - start));
        start = end + 1;
    }
    return fields;
}

std::optional<std::uint64_t> numberUpTo(std::uint64_t last, std::string_view text) {
    std::uint64_t number = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isNumber = failure == std::errc() && end == text.data() + text.size();
    return isNumber && number <= last ? std::optional(number) : std::nullopt;
}

std::optional<FileUrl> placeFrom(const std::string& path) {
    return path.starts_with('/') && path.size() < PATH_MAX ? std::optional(FileUrl(path)) : std::nullopt;
}

bool areTexts(std::span<const std::string> fields) {
    return std::all_of(fields.begin(), fields.end(), isValidUtf8);
}

// ---- Contents to texts

struct FieldsOf {
    Fields operator()(const AlertContent& alert) const {
        Fields fields{"alert", std::to_string(static_cast<int>(alert.style)), alert.message,
                      alert.informativeText};
        fields.insert(fields.end(), alert.buttons.begin(), alert.buttons.end());
        return fields;
    }
    Fields operator()(const OpenPanelContent& panel) const {
        return {"panel", panel.prompt, panel.accessoryText, panel.folder.path()};
    }
    Fields operator()(const PlaceVerdict& verdict) const {
        return {"verdict", verdict.place.path(), verdict.isEnabled ? "1" : "0"};
    }
    Fields operator()(const ButtonPress& press) const { return {"press", std::to_string(press.index)}; }
    Fields operator()(const PlaceChoice& choice) const { return {"choice", choice.place.path()}; }
    Fields operator()(const DialogCancel&) const { return {"cancel"}; }
    Fields operator()(const PlaceQuestion& question) const { return {"question", question.place.path()}; }
};

// ---- Texts to contents

constexpr std::size_t kFieldsBeforeButtons = 4;

std::optional<DialogRequest> alertFrom(const Fields& fields) {
    if (fields.size() <= kFieldsBeforeButtons || fields.size() > kFieldsBeforeButtons + kMaxDialogButtons)
        return std::nullopt;
    const auto style = numberUpTo(kLastStyle, fields[1]);
    if (!style || !areTexts(fields))
        return std::nullopt;
    return AlertContent{static_cast<AlertStyle>(*style),
                        fields[2],
                        fields[3],
                        {fields.begin() + kFieldsBeforeButtons, fields.end()}};
}

std::optional<DialogRequest> panelFrom(const Fields& fields) {
    const auto folder = placeFrom(fields[3]);
    if (!folder || !areTexts(std::span(fields).first(3)))
        return std::nullopt;
    OpenPanelContent panel;
    panel.prompt = fields[1];
    panel.accessoryText = fields[2];
    panel.folder = *folder;
    return panel;
}

std::optional<DialogRequest> verdictFrom(const Fields& fields) {
    const auto place = placeFrom(fields[1]);
    const auto enabled = numberUpTo(1, fields[2]);
    if (!place || !enabled)
        return std::nullopt;
    return PlaceVerdict{*place, *enabled == 1};
}

template <class About>
std::optional<DialogReply> replyAboutPlace(const std::string& path) {
    const auto place = placeFrom(path);
    return place ? std::optional<DialogReply>(About{*place}) : std::nullopt;
}

std::optional<DialogReply> pressFrom(const std::string& index) {
    const auto number = numberUpTo(kMaxDialogButtons - 1, index);
    return number ? std::optional<DialogReply>(ButtonPress{*number}) : std::nullopt;
}

template <class Message>
std::optional<std::string> packetOf(const Message& message) {
    return joined(std::visit(FieldsOf(), message));
}

} // namespace

// What cannot be read again is not sent.

std::optional<std::string> packetFor(const DialogRequest& request) {
    auto packet = packetOf(request);
    return packet && dialogRequestFrom(*packet) ? packet : std::nullopt;
}

std::optional<std::string> packetFor(const DialogReply& reply) {
    auto packet = packetOf(reply);
    return packet && dialogReplyFrom(*packet) ? packet : std::nullopt;
}

std::optional<DialogRequest> dialogRequestFrom(std::string_view packet) {
    const auto fields = split(packet);
    if (!fields)
        return std::nullopt;
    const std::string& kind = fields->front();
    if (kind == "alert")
        return alertFrom(*fields);
    if (kind == "panel" && fields->size() == 4)
        return panelFrom(*fields);
    if (kind == "verdict" && fields->size() == 3)
        return verdictFrom(*fields);
    return std::nullopt;
}

std::optional<DialogReply> dialogReplyFrom(std::string_view packet) {
    const auto fields = split(packet);
    if (!fields)
        return std::nullopt;
    const std::string& kind = fields->front();
    if (kind == "cancel" && fields->size() == 1)
        return DialogCancel{};
    if (fields->size() != 2)
        return std::nullopt;
    const std::string& argument = fields->back();
    if (kind == "press")
        return pressFrom(argument);
    if (kind == "choice")
        return replyAboutPlace<PlaceChoice>(argument);
    if (kind == "question")
        return replyAboutPlace<PlaceQuestion>(argument);
    return std::nullopt;
}

} // namespace kitwell::platform
