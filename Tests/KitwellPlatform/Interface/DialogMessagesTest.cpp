#include <sstream>

#include "KitwellPlatform/Interface/DialogMessages.h"
#include "Support/Harness.h"

using namespace kitwell::platform;

namespace {

// Fields written with "|" for the NUL byte that ends each.
std::string packet(std::string text) {
    std::replace(text.begin(), text.end(), '|', '\0');
    return text;
}

} // namespace

TEST(DialogMessages, WhatDoesNotFollowTheFormIsRefusedByBothEnds) {
    std::vector<std::string> rows{"panel|p|e|/" + std::string(5000, 'a') + "|",
                                  "panel|" + std::string(kMaxDialogPacket, 'a') + "|e|/|", "alert|0|m|i|"};
    for (std::size_t index = 0; index <= kMaxDialogButtons; ++index)
        rows.back() += "b|";
    // Not ended, or of no kind; texts that a toolkit must not see; no such style, button or place; too few or
    // too many.
    std::istringstream more(
        ";|;alert;press|1;unknown|1|;alert|0|m|i|;alert|3|m|i|b|;alert||m|i|b|;alert|-1|m|i|b|;"
        "alert|0|\xff|i|b|;alert|0|m|i|\xc0\xaf|;panel|p|e|;panel|p|e|relative|;panel|p|\xff|/|;"
        "panel|p|e|/|more|;verdict|/a|;verdict|/a|2|;verdict|a|1|;press||;press|x|;press|16|;"
        "press|1|2|;press|99999999999999999999|;press| 1|;choice|;choice||;choice|a|;"
        "choice|/a|/b|;cancel||;question|../a|");
    for (std::string row; std::getline(more, row, ';');)
        rows.push_back(row);
    for (const std::string& row : rows) {
        EXPECT_FALSE(dialogRequestFrom(packet(row))) << row;
        EXPECT_FALSE(dialogReplyFrom(packet(row))) << row;
    }
}

TEST(DialogMessages, TextsAndPathsArriveByteForByteAndCannotForgeAFurtherField) {
    const AlertContent alert{AlertStyle::Critical, "<b>ü</b>\n", "", {"First", "", "Third"}};
    const auto heard = std::get<AlertContent>(*dialogRequestFrom(*packetFor(DialogRequest(alert))));
    EXPECT_EQ(heard.buttons, alert.buttons);
    const FileUrl oddName("/tmp/\xff\xfe"); // file names are bytes, not texts
    const auto choice =
        std::get<PlaceChoice>(*dialogReplyFrom(*packetFor(DialogReply(PlaceChoice{oddName}))));
    EXPECT_EQ(choice.place, oddName);

    AlertContent forger = alert;
    forger.message = std::string("message\0information\0button", 26);
    EXPECT_FALSE(packetFor(DialogRequest(forger)));
    EXPECT_FALSE(packetFor(DialogReply(PlaceChoice{FileUrl(std::string("/a\0/b", 5))})));
    EXPECT_FALSE(packetFor(DialogRequest(AlertContent{})));
}
