#include "KitwellCommon/ToolDataProvider/ToolMessage.h"

#include <cstring>

#include "KitwellCommon/Logging/KWLog.h"
#include "KitwellCommon/SharedState/AppGroup.h"
#include "KitwellPlatform/Files/Bookmark.h"

namespace kitwell {

using platform::Data;
using platform::Image;
using platform::PortMessage;

namespace {

struct SendingRule {
    double deadline; // seconds
    std::string_view failureText;
};

constexpr SendingRule kCommandRule{10, "Failed to send Command to Agent port. Exception: %@ Reason: %@"};

SendingRule ruleToAgent(std::uint32_t msgid) {
    switch (msgid) {
    case ToolMessageStatus:
        return {30, "Failed to send Status to Agent port. Exception: %@ Reason: %@"};
    case ToolMessageToolIcon:
        return {0.5, "Failed to send Icon to Agent port. Exception: %@ Reason: %@"};
    case ToolMessageMenuIcon:
        return {0.5, "Failed to send Menu Icon to Agent port. Exception: %@ Reason: %@"};
    case ToolMessageSandboxAccess:
        return {5, "Failed to send Sandbox access to Agent port. Exception: %@ Reason: %@"};
    default:
        return {0.5, "Failed to send Menu text to Agent port. Exception: %@ Reason: %@"};
    }
}

// A person reads it, or it names a folder.
constexpr std::size_t kMostBytesOfRequestedText = 4096;

std::uint64_t pathHash(std::string_view path) {
    std::uint64_t hash = 0xcbf29ce484222325;
    for (const char character : path)
        hash = (hash ^ static_cast<unsigned char>(character)) * 0x100000001b3;
    return hash;
}

Data integerData(std::uint64_t value) {
    return Data::copying(std::as_bytes(std::span(&value, 1)));
}

std::optional<std::uint64_t> readInteger(const Data& component) {
    std::uint64_t value = 0;
    if (component.size() < sizeof value)
        return std::nullopt;
    std::memcpy(&value, component.data(), sizeof value);
    return value;
}

std::optional<std::string> readRequestedText(const Data& component) {
    return component.size() <= kMostBytesOfRequestedText ? platform::textFromUtf8(component.text())
                                                         : std::nullopt;
}

std::optional<bool> readFlag(const Data& component) {
    return component.empty() ? std::nullopt : std::optional(component.bytes().front() != std::byte{0});
}

} // namespace

std::string toolPortName(std::string_view toolPath) {
    return platform::formatText("%@.tool.%lx", kAppGroupIdentifier, pathHash(toolPath));
}

Data toolIdentifier(std::string_view toolPath) {
    return Data(toolPath);
}

PortMessage statusMessage(const Data& toolId, ToolStatus status) {
    return {ToolMessageStatus, {toolId, integerData(status)}};
}

PortMessage toolIconMessage(const Data& toolId, const std::optional<Image>& icon) {
    PortMessage message{ToolMessageToolIcon, {toolId}};
    if (auto tiff = icon ? icon->tiffRepresentation() : std::nullopt)
        message.components.push_back(*std::move(tiff));
    return message;
}

std::optional<PortMessage> menuIconMessage(const Data& toolId, const Image& icon) {
    auto tiff = icon.tiffRepresentation();
    if (!tiff)
        return std::nullopt;
    return PortMessage{ToolMessageMenuIcon, {toolId, *std::move(tiff), flagData(icon.isTemplate())}};
}

PortMessage menuTextMessage(const Data& toolId, std::string_view text) {
    return {ToolMessageMenuText, {toolId, Data(text)}};
}

std::vector<Data> sandboxFolderRequest(const Data& toolId, std::string_view path, std::string_view message,
                                       std::uint64_t options) {
    return {toolId, Data(path), Data(message), integerData(options)};
}

std::vector<Data> sandboxSpecialRequest(const Data& toolId, std::uint64_t code) {
    return {toolId, integerData(code)};
}

PortMessage commandMessage(std::uint32_t command, const std::optional<Data>& params) {
    PortMessage message{command, {}};
    if (params)
        message.components.push_back(*params);
    return message;
}

Data flagData(bool flag) {
    return Data(std::string_view(flag ? "\1" : "\0", 1));
}

std::optional<std::string_view> senderOf(const PortMessage& message) {
    if (message.components.empty() || !platform::isValidUtf8(message.components[0].text()))
        return std::nullopt;
    return message.components[0].text();
}

std::optional<ToolStatus> readStatus(const PortMessage& message) {
    return message.components.size() < 2 ? std::nullopt : readInteger(message.components[1]);
}

std::optional<PresentedImage> readToolIcon(const PortMessage& message) {
    if (message.components.size() < 2)
        return PresentedImage{};
    return PresentedImage{Image::fromTiff(message.components[1])};
}

std::optional<PresentedImage> readMenuIcon(const PortMessage& message) {
    if (message.components.size() < 2)
        return std::nullopt;
    std::optional<bool> isTemplate = false;
    if (message.components.size() >= 3)
        isTemplate = readFlag(message.components[2]);
    if (!isTemplate)
        return std::nullopt;
    PresentedImage presented{Image::fromTiff(message.components[1])};
    if (presented.image)
        presented.image->setTemplate(*isTemplate);
    return presented;
}

std::optional<PresentedText> readMenuText(const PortMessage& message) {
    if (message.components.size() < 2)
        return std::nullopt;
    return PresentedText{platform::textFromUtf8(message.components[1].text())};
}

NeededFlag readNeededFlag(const PortMessage& message) {
    if (message.components.empty())
        return NeededFlag::Unchanged;
    const auto flag = readFlag(message.components[0]);
    if (!flag)
        return NeededFlag::Malformed;
    return *flag ? NeededFlag::Yes : NeededFlag::No;
}

SandboxRequest readSandboxRequest(const PortMessage& message) {
    const std::vector<Data>& components = message.components;
    if (components.size() == 2) {
        const auto code = readInteger(components[1]);
        return code ? SandboxRequest(SandboxSpecialRequest{*code}) : SandboxRequest();
    }
    if (components.size() != 4)
        return {};
    auto path = readRequestedText(components[1]);
    auto text = readRequestedText(components[2]);
    const auto options = readInteger(components[3]);
    if (!path || !path->starts_with('/') || !text || !options)
        return {};
    return SandboxFolderRequest{*std::move(path), *std::move(text), *options};
}

std::optional<std::string> readSandboxReply(const PortMessage& message) {
    const auto url =
        message.components.empty() ? std::nullopt : platform::resolveBookmark(message.components.front());
    return url ? std::optional(url->path()) : std::nullopt;
}

SendOutcome sendToolMessage(platform::Port& port, const PortMessage& message, Direction direction) {
    const SendingRule rule = direction == Direction::ToAgent ? ruleToAgent(message.msgid) : kCommandRule;
    try {
        const bool queued = message.sendBeforeDate(port, platform::Date::now().adding(rule.deadline));
        return queued ? SendOutcome::Queued : SendOutcome::DeadlinePassed;
    } catch (const platform::PortException& exception) {
        KWLogVariadic(rule.failureText, exception.name(), exception.reason());
        return SendOutcome::Failed;
    }
}

} // namespace kitwell
