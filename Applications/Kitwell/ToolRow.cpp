#include "ToolRow.h"

#include <algorithm>
#include <array>
#include <numeric>

#include "Shared/Words.h"
#include "ToolList.h"

namespace kitwell::applications {

namespace {

std::string describe(const std::optional<platform::Image>& icon) {
    if (!icon || icon->representations().empty())
        return "-";
    return platform::formatText("%ux%u", icon->width(), icon->height()) +
           (icon->isTemplate() ? " template" : "");
}

std::string describe(ToolStatus status) {
    constexpr std::array<std::string_view, 3> kNames{"off", "on", "permanent"};
    return status < kNames.size() ? std::string(kNames[status]) : platform::formatText("%lu", status);
}

bool isContinuation(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

std::size_t characterCount(std::string_view text) {
    return text.size() - static_cast<std::size_t>(std::count_if(text.begin(), text.end(), isContinuation));
}

std::string cutToCharacters(std::string_view text, std::size_t count) {
    std::size_t end = 0;
    while (end < text.size() && (count > 0 || isContinuation(text[end]))) {
        if (!isContinuation(text[end]))
            --count;
        ++end;
    }
    return std::string(text.substr(0, end));
}

constexpr std::size_t kColumns = 7;
constexpr std::size_t kMenuTextColumn = 3;
constexpr std::size_t kGap = 2;

std::array<std::string, kColumns> cells(const ToolRow& row) {
    return {row.name, row.icon, row.menuIcon, row.menuText, row.status, row.launched, row.port};
}

// The menu text is what can be of any length: it gives way to the columns behind it, but not below its
// heading.
void leaveRoomForAll(std::array<std::size_t, kColumns>& widths, std::size_t width) {
    std::size_t& menuText = widths[kMenuTextColumn];
    const std::size_t others =
        std::accumulate(widths.begin(), widths.end(), (kColumns - 1) * kGap) - menuText;
    const std::size_t heading = std::string_view("MENU TEXT").size();
    menuText = std::min(menuText, std::max(width > others ? width - others : 0, heading));
}

} // namespace

ToolRow rowFor(const ToolDataAgentProvider& tool) {
    return {printable(displayName(tool)),
            describe(tool.toolIcon()),
            describe(tool.menuIcon()),
            tool.menuText() ? printable(*tool.menuText()) : "-",
            describe(tool.status()),
            tool.wasLaunched() ? "yes" : "no",
            tool.toolPort() ? "open" : "closed"};
}

std::string lineFor(const ToolRow& row) {
    return platform::formatText("%@: status %@, text \"%@\", icon %@, menu icon %@, launched %@, port %@",
                                row.name, row.status, row.menuText, row.icon, row.menuIcon, row.launched,
                                row.port);
}

std::vector<std::string> tableFor(const std::vector<ToolRow>& rows, std::size_t width) {
    std::vector<ToolRow> all{{"NAME", "ICON", "MENU ICON", "MENU TEXT", "STATUS", "LAUNCHED", "PORT"}};
    all.insert(all.end(), rows.begin(), rows.end());
    std::array<std::size_t, kColumns> widths{};
    for (const ToolRow& row : all) {
        const auto texts = cells(row);
        for (std::size_t column = 0; column < texts.size(); ++column)
            widths[column] = std::max(widths[column], characterCount(texts[column]));
    }
    leaveRoomForAll(widths, width);
    std::vector<std::string> lines;
    for (const ToolRow& row : all) {
        std::string line;
        auto texts = cells(row);
        texts[kMenuTextColumn] = cutToCharacters(texts[kMenuTextColumn], widths[kMenuTextColumn]);
        for (std::size_t column = 0; column < texts.size(); ++column)
            line += texts[column] + std::string(widths[column] - characterCount(texts[column]) + kGap, ' ');
        lines.push_back(cutToCharacters(line, width));
    }
    return lines;
}

} // namespace kitwell::applications
