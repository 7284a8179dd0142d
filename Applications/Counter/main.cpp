// A tool that counts the clicks on its menu icon, beyond its process too. Turning it off by command ends it.

#include <cstdint>

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "Shared/Canvas.h"

namespace kitwell::applications {

namespace {

constexpr char kClicksKey[] = "Clicks";

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
    }

    void showClicks() {
        client_.setMenuText(platform::formatText(clicks_ == 1 ? "%ld click" : "%ld clicks", clicks_));
    }

    ToolDataClientProvider client_;
    std::int64_t clicks_ = storedClicks();
};

} // namespace

} // namespace kitwell::applications

int main() {
    const kitwell::applications::Counter counter;
    return kitwell::platform::Application::shared().run();
}
