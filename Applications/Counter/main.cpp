// A tool that counts the clicks on its menu icon, beyond its process too. Turning it off by command ends it.
// Its words are a resource, so that they can be published anew without a new version of the tool.

#include <cstdint>
#include <string>

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "Shared/Canvas.h"
#include "Shared/Tool.h"
#include "Shared/UsageLog.h"

namespace kitwell::applications {

namespace {

constexpr char kClicksKey[] = "Clicks";
constexpr char kWordsResource[] = "ClickWords";
constexpr std::size_t kMaxWordsBytes = 4096;

// The texts for one click and for any other number of clicks.
struct Words {
    std::string one = "%ld";
    std::string many = "%ld";
};

// One text a line. Of a file that is none of these the plain number is left.
Words currentWords() {
    const auto content =
        platform::readFile(ResourceManager::getMostActualResourcePath(kWordsResource), kMaxWordsBytes);
    const std::string text = content ? platform::textFromUtf8(content->text()).value_or("") : "";
    const std::size_t first = text.find('\n');
    const std::size_t second = text.find('\n', first + 1);
    if (first == std::string::npos || second == std::string::npos)
        return {};
    return {text.substr(0, first), text.substr(first + 1, second - first - 1)};
}

std::int64_t storedClicks() {
    const auto stored = platform::UserDefaults::standard().objectForKey(kClicksKey);
    const std::int64_t* clicks = stored ? stored->asSigned() : nullptr;
    return clicks && *clicks > 0 ? *clicks : 0;
}

platform::Image tallyIcon(int size, Colour colour) {
    Canvas canvas(size);
    for (int stroke = 1; stroke <= 4; ++stroke)
        canvas.fillRectangle(size * 0.18 * stroke, size * 0.15, size * 0.08, size * 0.7, colour);
    canvas.drawLine(size * 0.08, size * 0.75, size * 0.92, size * 0.25, size * 0.09, colour);
    return canvas.image();
}

class Counter {
public:
    Counter() {
        client_.setToolIcon(tallyIcon(64, {150, 60, 20}));
        platform::Image icon = tallyIcon(18, {0, 0, 0});
        icon.setTemplate(true);
        client_.setMenuIcon(icon);
        client_.setClickMenuIconBlock([this] { count(); });
        client_.setTurnToolOffBlock([this] { client_.setToolStatus(ToolStatusOff); });
        client_.setToolStatus(ToolStatusOn);
        showClicks();
    }

private:
    void count() {
        ++clicks_;
        platform::UserDefaults& preferences = platform::UserDefaults::standard();
        preferences.setObjectForKey(clicks_, kClicksKey);
        preferences.synchronize();
        showClicks();
        UsageLog::action("Count", {}, platform::Dictionary{{"clicks", clicks_}});
    }

    void showClicks() {
        client_.setMenuText(platform::formatText(clicks_ == 1 ? words_.one : words_.many, clicks_));
    }

    ToolDataClientProvider client_;
    const Words words_ = currentWords();
    std::int64_t clicks_ = storedClicks();
};

} // namespace

} // namespace kitwell::applications

int main() {
    return kitwell::applications::checkToolIsAllowed()
               ? kitwell::applications::runTool<kitwell::applications::Counter>()
               : 1;
}
