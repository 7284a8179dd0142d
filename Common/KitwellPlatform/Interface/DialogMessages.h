#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Interface/Dialogs.h"

namespace kitwell::platform {

// What a process and the program that shows a dialog for it tell each other. One packet is one message:
// texts, each ended by a NUL byte, of which the first names the kind.
//
//   to the program     alert <style> <message> <informative text> <button>...
//                      panel <prompt> <explanation> <folder>
//                      verdict <path> <0 or 1>
//   from the program   press <index of the button>
//                      choice <path>
//                      cancel
//                      question <path>
//
// The conversation opens with an alert or a panel. While a panel is up, the program may ask for as many
// places as it likes whether they may be chosen, one question at a time, and is told a verdict each; its
// conversation ends with one of the three answers. Texts are UTF-8, paths absolute.

struct PlaceVerdict {
    FileUrl place;
    bool isEnabled = false;
};
using DialogRequest = std::variant<AlertContent, OpenPanelContent, PlaceVerdict>;

struct ButtonPress {
    std::size_t index = 0;
};
struct PlaceChoice {
    FileUrl place;
};
struct DialogCancel {};
struct PlaceQuestion {
    FileUrl place;
};
using DialogReply = std::variant<ButtonPress, PlaceChoice, DialogCancel, PlaceQuestion>;

inline constexpr std::size_t kMaxDialogPacket = 64U << 10;
inline constexpr std::size_t kMaxDialogButtons = 16;

// The packet that says it; nothing when the content does not fit the form above: a text with a NUL or not
// UTF-8, too much text, no button or too many.
PLATFORM_API std::optional<std::string> packetFor(const DialogRequest& request);
PLATFORM_API std::optional<std::string> packetFor(const DialogReply& reply);

// What a packet says; nothing for one that does not follow the form. A panel comes without its rule, which
// stays with the process that asks for it.
PLATFORM_API std::optional<DialogRequest> dialogRequestFrom(std::string_view packet);
PLATFORM_API std::optional<DialogReply> dialogReplyFrom(std::string_view packet);

} // namespace kitwell::platform
