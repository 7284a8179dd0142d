#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "KitwellCommon/Export.h"
#include "KitwellCommon/SuiteIdentifiers.h"
#include "KitwellPlatform/Images/Image.h"
#include "KitwellPlatform/Ports/Port.h"

// The one description of what tools and agent say to each other: names of ports, identifiers, components,
// deadlines, failure texts, and how each message is built and read. Client, service and proxy never touch a
// byte.
//
// Every message is one-way. A message from a tool carries the tool identifier (the UTF-8 bytes of the tool
// bundle's path) as its first component; a message to a tool goes to the tool's own port and carries none.
//
// The readers take messages from anyone: what is too short for its kind reads as nothing and is to be ignored
// whole. A picture that cannot be decoded, or a text that is not UTF-8, reads as an absent one. Stateless;
// main thread.

namespace kitwell {

using ToolStatus = std::uint64_t;
inline constexpr ToolStatus ToolStatusOff = 0;
inline constexpr ToolStatus ToolStatusOn = 1;        // while its process runs
inline constexpr ToolStatus ToolStatusPermanent = 2; // beyond its process: shown from its persisted data

inline constexpr std::uint32_t ToolMessageStatus = 100;
inline constexpr std::uint32_t ToolMessageToolIcon = 101;
inline constexpr std::uint32_t ToolMessageMenuIcon = 102;
inline constexpr std::uint32_t ToolMessageDateSchedule = 103;
inline constexpr std::uint32_t ToolMessageTurnOff = 105;
inline constexpr std::uint32_t ToolMessageSandboxAccess = 106;
inline constexpr std::uint32_t ToolMessageClickMenuIcon = 107;
inline constexpr std::uint32_t ToolMessageMenuText = 108;

inline constexpr char kAgentPortName[] = "7QW2LM9B5R.com.corvalen.kitwell.agent.port";

// "7QW2LM9B5R.com.corvalen.kitwell.tool." and the FNV-1a hash (64 bits) of the tool bundle's path in
// lower-case hexadecimal. Tool and agent find each other only when their path texts are identical.
KITWELL_API std::string toolPortName(std::string_view toolPath);

// The bytes that identify a tool.
KITWELL_API platform::Data toolIdentifier(std::string_view toolPath);

// ---- From a tool to the agent.

KITWELL_API platform::PortMessage statusMessage(const platform::Data& toolId, ToolStatus status);
// Without an icon, or with one that yields no picture data, the identifier only.
KITWELL_API platform::PortMessage toolIconMessage(const platform::Data& toolId,
                                                  const std::optional<platform::Image>& icon);
// Nothing when the icon yields no picture data.
KITWELL_API std::optional<platform::PortMessage> menuIconMessage(const platform::Data& toolId,
                                                                 const platform::Image& icon);
KITWELL_API platform::PortMessage menuTextMessage(const platform::Data& toolId, std::string_view text);

// The components of a request for access to a folder, or to a special folder.
KITWELL_API std::vector<platform::Data> sandboxFolderRequest(const platform::Data& toolId,
                                                             std::string_view path, std::string_view message,
                                                             std::uint64_t options);
KITWELL_API std::vector<platform::Data> sandboxSpecialRequest(const platform::Data& toolId,
                                                              std::uint64_t code);

// ---- From the agent to a tool.

KITWELL_API platform::PortMessage commandMessage(std::uint32_t command,
                                                 const std::optional<platform::Data>& params);
KITWELL_API platform::Data flagData(bool flag);

// ---- Reading in the agent.

// The tool that sent the message; nothing when there is no component or it is not UTF-8. Valid while the
// message is.
KITWELL_API std::optional<std::string_view> senderOf(const platform::PortMessage& message);

KITWELL_API std::optional<ToolStatus> readStatus(const platform::PortMessage& message);

// What a message says of a presented value: nothing at all, or the new value, which may be an absent one.
struct PresentedImage {
    std::optional<platform::Image> image;
};
struct PresentedText {
    std::optional<std::string> text;
};
KITWELL_API std::optional<PresentedImage> readToolIcon(const platform::PortMessage& message);
// The template flag, when the message has one, is set on the image.
KITWELL_API std::optional<PresentedImage> readMenuIcon(const platform::PortMessage& message);
KITWELL_API std::optional<PresentedText> readMenuText(const platform::PortMessage& message);

struct SandboxFolderRequest {
    std::string path; // absolute
    std::string message;
    std::uint64_t options = 0;
};
struct SandboxSpecialRequest {
    std::uint64_t code = 0;
};
// The first alternative for what is malformed: another number of components, numbers that are too short,
// texts that are not UTF-8 or longer than 4 KiB, a path that is not absolute.
using SandboxRequest = std::variant<std::monostate, SandboxFolderRequest, SandboxSpecialRequest>;
KITWELL_API SandboxRequest readSandboxRequest(const platform::PortMessage& message);

// ---- Reading in a tool.

enum class NeededFlag { Malformed, Unchanged, No, Yes };
// What a 101 or 102 from the agent says: without a component the flag stays as it is.
KITWELL_API NeededFlag readNeededFlag(const platform::PortMessage& message);

// The path that the bookmark of a sandbox-access reply leads to; nothing when there is none or it does not
// resolve.
KITWELL_API std::optional<std::string> readSandboxReply(const platform::PortMessage& message);

// ---- Sending.

enum class Direction { ToAgent, ToTool };
enum class SendOutcome {
    Queued,         // the peer has it
    DeadlinePassed, // not sent; not logged
    Failed          // the port is dead; one log line was written
};

// Sends once, within the deadline of the message's kind and direction. Blocks until the deadline at most.
KITWELL_API SendOutcome sendToolMessage(platform::Port& port, const platform::PortMessage& message,
                                        Direction direction);

} // namespace kitwell
