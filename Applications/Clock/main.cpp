// A tool whose menu text is the local time, on each second. It is on while it runs. A click on its menu icon
// takes the seconds away, and brings them back.

#include <chrono>
#include <cmath>
#include <ctime>
#include <numbers>
#include <string>

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"
#include "Shared/Canvas.h"
#include "Shared/Tool.h"
#include "Shared/UsageLog.h"

namespace kitwell::applications {

namespace {

std::tm localTime() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    return local;
}

platform::Image clockFace(int size, int hour, int minute, Colour face, Colour hands) {
    Canvas canvas(size);
    const double centre = size / 2.0;
    const auto drawHand = [&](double turn, double length, double thickness) {
        const double angle = turn * 2 * std::numbers::pi;
        canvas.drawLine(centre, centre, centre + std::sin(angle) * length * centre,
                        centre - std::cos(angle) * length * centre, thickness, hands);
    };
    canvas.fillCircle(centre, centre, centre - 1, face);
    drawHand((hour % 12 + minute / 60.0) / 12, 0.5, size / 12.0);
    drawHand(minute / 60.0, 0.75, size / 20.0);
    return canvas.image();
}

class Clock {
public:
    Clock() {
        client_.setToolIcon(clockFace(64, 10, 10, {235, 240, 250}, {20, 40, 90}));
        client_.setClickMenuIconBlock([this] { switchSeconds(); });
        client_.setToolStatus(ToolStatusOn);
        showTime();
    }

private:
    void switchSeconds() {
        showsSeconds_ = !showsSeconds_;
        showTime();
        UsageLog::action("SwitchSeconds", platform::Dictionary{{"seconds", showsSeconds_}});
    }

    void showTime() {
        const std::tm time = localTime();
        client_.setMenuText(platform::formatText("%02d:%02d", time.tm_hour, time.tm_min) +
                            (showsSeconds_ ? platform::formatText(":%02d", time.tm_sec) : ""));
        if (time.tm_min != shownMinute_) {
            shownMinute_ = time.tm_min;
            platform::Image icon = clockFace(18, time.tm_hour, time.tm_min, {0, 0, 0, 40}, {0, 0, 0, 255});
            icon.setTemplate(true);
            client_.setMenuIcon(icon);
        }
        waitForNextSecond();
    }

    // Aims anew at each whole second of the wall clock, so that the text never drifts away from it.
    void waitForNextSecond() {
        using namespace std::chrono;
        const auto now = system_clock::now();
        const auto next = ceil<seconds>(now + milliseconds(1));
        timer_ = platform::Timer::once(platform::RunLoop::current(),
                                       duration_cast<platform::RunLoop::Duration>(next - now),
                                       platform::RunLoopModes::Common, [this] { showTime(); });
    }

    ToolDataClientProvider client_;
    platform::Timer timer_;
    int shownMinute_ = -1;
    bool showsSeconds_ = true;
};

} // namespace

} // namespace kitwell::applications

int main() {
    return kitwell::applications::checkToolIsAllowed()
               ? kitwell::applications::runTool<kitwell::applications::Clock>()
               : 1;
}
