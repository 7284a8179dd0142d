// A tool that saves a picture as a PDF document on the Desktop, in pages of the proportions of paper, in the
// folder that the agent grants it. Started with a file (`PageSnap picture.png`, or a file dropped on it) it
// saves that one and ends; without one it waits in the menu, and a click on its icon saves the newest picture
// of the user's Pictures folder.

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <numbers>
#include <string>
#include <vector>

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Applications/RunningApplication.h"
#include "KitwellPlatform/Files/FreePath.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"
#include "NewestPicture.h"
#include "Shared/Canvas.h"
#include "Shared/Policy.h"
#include "Shared/UsageLog.h"

namespace kitwell::applications {

namespace {

// A sheet with a corner turned down, and lines on it.
platform::Image sheetIcon(int size, Colour colour) {
    Canvas canvas(size);
    const double thickness = size * 0.08;
    const auto line = [&](double fromX, double fromY, double toX, double toY) {
        canvas.drawLine(size * fromX, size * fromY, size * toX, size * toY, thickness, colour);
    };
    line(0.2, 0.1, 0.2, 0.9);
    line(0.2, 0.9, 0.8, 0.9);
    line(0.8, 0.9, 0.8, 0.35);
    line(0.2, 0.1, 0.55, 0.1);
    line(0.55, 0.1, 0.8, 0.35);
    line(0.35, 0.5, 0.65, 0.5);
    line(0.35, 0.7, 0.65, 0.7);
    return canvas.image();
}

std::uint64_t paperHeight(std::uint32_t width) {
    return static_cast<std::uint64_t>(std::lround(width * std::numbers::sqrt2));
}

// "<name>.pdf" in the folder, and for when that is taken "<name> 2.pdf" and so on.
std::vector<std::string> documentPaths(const std::string& folder, const std::string& name) {
    constexpr int kMostOfOneName = 1000;
    std::vector<std::string> paths;
    for (int number = 1; number <= kMostOfOneName; ++number) {
        const std::string suffix = number > 1 ? " " + std::to_string(number) : std::string();
        paths.push_back(std::string(folder).append("/").append(name).append(suffix).append(".pdf"));
    }
    return paths;
}

class PageSnap {
public:
    // With an empty path it waits for clicks.
    explicit PageSnap(std::string picture) : picture_(std::move(picture)) {
        client_.setToolIcon(sheetIcon(64, {30, 90, 150}));
        platform::Image icon = sheetIcon(18, {0, 0, 0});
        icon.setTemplate(true);
        client_.setMenuIcon(icon);
        client_.setMenuText("a click saves the newest picture as PDF");
        client_.setClickMenuIconBlock([this] { snap(newestPicture(platform::SearchPaths::pictures())); });
        client_.setToolStatus(ToolStatusOn);
        if (!picture_.empty())
            platform::RunLoop::current().post([this] { snapAndEnd(); });
    }

    bool hasFailed() const { return hasFailed_; }

private:
    void snapAndEnd() {
        snap(picture_);
        client_.setToolStatus(ToolStatusOff);
        platform::Application::shared().terminate();
    }

    // What comes while the person is asked for a folder is handled, but no second document is begun.
    void snap(const std::optional<std::string>& path) {
        if (isSnapping_)
            return;
        isSnapping_ = true;
        std::uint64_t pages = 0;
        const std::string outcome = path ? save(*path, pages) : "there is no picture to save";
        UsageLog::action("Snap", {}, platform::Dictionary{{"pages", pages}});
        tell(outcome, pages > 0);
        isSnapping_ = false;
    }

    // Answers what came of it; `pages` stays 0 on failure.
    std::string save(const std::string& path, std::uint64_t& pages) {
        const std::string name = std::filesystem::path(path).filename().string();
        const platform::Image image =
            platform::Image::byReferencingFile(path, platform::ImagePictures::First);
        if (image.height() == 0)
            return name + " is no picture";
        client_.setMenuText("asking where to save " + name);
        const bool answered = client_.requestSandboxAccessCommand(
            sandboxSpecialRequest(client_.toolId(), ToolDesktopDirectory));
        const auto folder = answered ? client_.sandboxReplyDir() : std::nullopt;
        if (!folder)
            return "no folder was granted to save " + name;
        const std::uint64_t pageHeight = paperHeight(image.width());
        const auto pdf = CommonAuxiliary::sharedInstance().dataForImageAsPDF(image, pageHeight);
        if (!pdf)
            return name + " cannot become a document";
        const auto document = platform::writeToFirstFreePath(
            pdf->bytes(), documentPaths(*folder, std::filesystem::path(path).stem().string()));
        if (!document)
            return name + " cannot be saved in " + *folder;
        pages = (image.height() + pageHeight - 1) / pageHeight;
        return platform::formatText(pages == 1 ? "saved %@: %lu page" : "saved %@: %lu pages",
                                    std::filesystem::path(*document).filename().string(), pages);
    }

    void tell(const std::string& outcome, bool isSaved) {
        hasFailed_ = !isSaved;
        client_.setMenuText(outcome);
        KWLogVariadic("%@", outcome);
    }

    const std::string picture_;
    ToolDataClientProvider client_;
    bool isSnapping_ = false;
    bool hasFailed_ = false;
};

// The agent's answers would reach the process that runs already.
bool checkRunsAlone() {
    if (platform::RunningApplication::withBundleIdentifier(platform::Bundle::main().identifier()).empty())
        return true;
    KWLogVariadic("PageSnap runs already: a click on its menu icon saves the newest picture");
    return false;
}

} // namespace

} // namespace kitwell::applications

int main(int count, char** arguments) {
    // The agent may ask for a start in the background, as this one always is.
    const bool hasFile = count > 1 && std::string(arguments[1]) != "--hidden";
    if (count > 2 || (hasFile && (arguments[1][0] == '-' || arguments[1][0] == '\0'))) {
        std::fputs("usage: PageSnap [PICTURE]\n", stderr);
        return 2;
    }
    if (!kitwell::applications::checkToolIsAllowed() || !kitwell::applications::checkRunsAlone())
        return 1;
    kitwell::platform::Application& application = kitwell::platform::Application::shared();
    const kitwell::applications::UsageLog usage;
    std::error_code failure; // a path that cannot be made absolute names no picture
    const kitwell::applications::PageSnap snap(
        hasFile ? std::filesystem::absolute(arguments[1], failure).string() : std::string());
    const int code = application.run();
    return hasFile && snap.hasFailed() ? 1 : code;
}
