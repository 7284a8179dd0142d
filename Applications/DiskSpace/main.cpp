// A permanent tool: its menu text is the free space of the volume that holds the home folder, its menu icon a
// gauge. The agent goes on to show both when the tool does not run.

#include <chrono>
#include <string>

#include "Gauge.h"
#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"

namespace kitwell::applications {

namespace {

constexpr std::chrono::seconds kRefreshInterval{5};

std::string gigabytes(std::uint64_t bytes) {
    return platform::formatText("%.1f GB", static_cast<double>(bytes) / 1e9);
}

class DiskSpace {
public:
    DiskSpace() {
        client_.setToolIcon(gaugePicture(64, 0.6));
        client_.setToolStatus(ToolStatusPermanent);
        refresh();
        timer_ = platform::Timer::repeating(platform::RunLoop::current(), kRefreshInterval,
                                            platform::RunLoopModes::Common, [this] { refresh(); });
    }

private:
    void refresh() {
        const auto space = platform::FileManager::volumeSpace(platform::SearchPaths::home());
        if (!space || space->totalBytes == 0)
            return present("unknown", 0);
        const double total = static_cast<double>(space->totalBytes);
        present(gigabytes(space->freeBytes) + " free of " + gigabytes(space->totalBytes),
                1 - static_cast<double>(space->freeBytes) / total);
    }

    void present(const std::string& text, double usedShare) {
        if (client_.menuText() == text && client_.menuIcon())
            return;
        client_.setMenuIcon(gaugeIcon(18, usedShare));
        client_.setMenuText(text);
    }

    ToolDataClientProvider client_;
    platform::Timer timer_;
};

} // namespace

} // namespace kitwell::applications

int main() {
    const kitwell::applications::DiskSpace diskSpace;
    return kitwell::platform::Application::shared().run();
}
