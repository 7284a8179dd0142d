// A tool that needs the agent: without it nobody could add a note. Each click on its menu icon notes the
// time; the notes outlast the process.

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "Shared/Canvas.h"
#include "Shared/Tool.h"
#include "Shared/UsageLog.h"

namespace kitwell::applications {

namespace {

constexpr char kNotesKey[] = "Notes";
constexpr std::size_t kMaxNotes = 1000;

platform::Image sheetIcon(int size, Colour paper, Colour ink) {
    Canvas canvas(size);
    canvas.fillRectangle(size * 0.2, size * 0.1, size * 0.6, size * 0.8, paper);
    for (int line = 1; line <= 3; ++line)
        canvas.fillRectangle(size * 0.3, size * 0.2 * line + size * 0.05, size * 0.4, size * 0.06, ink);
    return canvas.image();
}

class Notes {
public:
    Notes() {
        client_.setToolIcon(sheetIcon(64, {250, 240, 180}, {90, 80, 40}));
        platform::Image icon = sheetIcon(18, {0, 0, 0, 60}, {0, 0, 0});
        icon.setTemplate(true);
        client_.setMenuIcon(icon);
        client_.setClickMenuIconBlock([this] { note(); });
        client_.setToolStatus(ToolStatusOn);
        show();
    }

private:
    void note() {
        platform::UserDefaults& preferences = platform::UserDefaults::standard();
        notes_.emplace_back(platform::Date::now());
        if (notes_.size() > kMaxNotes)
            notes_.erase(notes_.begin());
        preferences.setObjectForKey(notes_, kNotesKey);
        preferences.synchronize();
        show();
        UsageLog::action("Note", {}, platform::Dictionary{{"notes", std::uint64_t{notes_.size()}}});
    }

    void show() {
        const platform::Date* last = notes_.empty() ? nullptr : notes_.back().asDate();
        const auto moment = last ? last->iso8601() : std::nullopt;
        client_.setMenuText(moment ? platform::formatText("%lu notes, the last at %@", notes_.size(), *moment)
                                   : "no notes");
    }

    ToolDataClientProvider client_;
    platform::Array notes_ =
        platform::UserDefaults::standard().arrayForKey(kNotesKey).value_or(platform::Array());
};

} // namespace

} // namespace kitwell::applications

int main() {
    return kitwell::applications::checkToolIsAllowed() && kitwell::ToolRequirements::checkToolCanRun()
               ? kitwell::applications::runTool<kitwell::applications::Notes>()
               : 1;
}
