#include "KitwellCommon/ToolDataProvider/SandboxAccess.h"

#include <algorithm>
#include <chrono>

#include "KitwellCommon/Localization.h"
#include "KitwellCommon/Logging/KWLog.h"
#include "KitwellCommon/SharedState/AppGroup.h"
#include "KitwellCommon/ToolDataProvider/ToolDataAgentProvider.h"
#include "KitwellCommon/ToolDataProvider/ToolDataClientProvider.h"
#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Files/Bookmark.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"

namespace kitwell {

using platform::Data;
using platform::FileManager;
using platform::FileUrl;

namespace {

constexpr std::chrono::milliseconds kWaitingPass{100};

std::string rememberedFolderKey(std::uint64_t code) {
    return platform::formatText("ToolSpecialDir_%d", code);
}

std::optional<Data> plainBookmark(const FileUrl& url) {
    auto bookmark = platform::bookmarkFor(url, platform::BookmarkScope::Plain);
    return bookmark ? std::optional(*std::move(bookmark)) : std::nullopt;
}

platform::OpenPanel panelFor(const std::string& path, const std::string& message) {
    platform::OpenPanel panel;
    panel.setCanChooseFiles(false);
    panel.setCanChooseFolders(true);
    panel.setPrompt(localizedString("Allow"));
    panel.setDirectoryUrl(FileUrl(path));
    panel.setAccessoryText(message);
    return panel;
}

} // namespace

bool SandboxDialogDelegate::panelShouldEnableURL(const platform::OpenPanel&, const FileUrl& url) {
    return url == url_;
}

// ---- The tool's half.

// A command that is carried out during the wait may ask again: there is one slot for the reply, and it
// belongs to the call that waits.
bool ToolDataClientProvider::requestSandboxAccessCommand(std::vector<Data> components) {
    if (isAskingForAccess_)
        return false;
    isAskingForAccess_ = true;
    const bool isAnswered = askForAccess({ToolMessageSandboxAccess, std::move(components)});
    isAskingForAccess_ = false;
    return isAnswered;
}

bool ToolDataClientProvider::askForAccess(const platform::PortMessage& request) {
    if (!launchAgentIfNeeded())
        return false;
    sandboxReplyDir_ = pendingReply();
    const std::shared_ptr<platform::Port> port = agentPort_;
    if (sendToolMessage(*port, request, Direction::ToAgent) == SendOutcome::DeadlinePassed) {
        sandboxReplyDir_ = nullptr;
        return false;
    }
    // A send that failed counts as sent: the agent's death, which it means, ends the wait. So does an agent
    // that died and came back between two looks: the request died with it.
    platform::RunLoop& loop = platform::RunLoop::current();
    while (agentPort_ == port && sandboxReplyDir_ == pendingReply() && !loop.isStopped())
        loop.runOnce(kWaitingPass); // ends early with whatever came: it may be the reply
    return isAgentConnected_ && sandboxReplyDir_ != pendingReply();
}

// An object of its own, known by its identity: no reply can equal it.
const ToolDataClientProvider::SharedText& ToolDataClientProvider::pendingReply() {
    static const SharedText pending = std::make_shared<const std::string>();
    return pending;
}

std::optional<std::string> ToolDataClientProvider::sandboxReplyDir() const {
    return sandboxReplyDir_ ? std::optional(*sandboxReplyDir_) : std::nullopt;
}

void ToolDataClientProvider::setSandboxReplyDir(std::optional<std::string> path) {
    sandboxReplyDir_ = path ? std::make_shared<const std::string>(*std::move(path)) : nullptr;
}

std::optional<std::string> ToolDataClientProvider::requestAccessToDirectory(const std::string& path,
                                                                            const std::string& message,
                                                                            std::uint64_t) {
    return requestAccessToDirectory(path, message);
}

std::optional<std::string> ToolDataClientProvider::requestAccessToDirectory(const std::string& path,
                                                                            const std::string&) {
    return FileManager::isWritable(path) ? std::optional(path) : std::nullopt;
}

std::optional<std::string> ToolDataClientProvider::getToolSpecialDirectory(std::uint64_t code) {
    return code == ToolDesktopDirectory ? std::optional(platform::SearchPaths::desktop()) : std::nullopt;
}

// ---- The agent's half.

// Every request is answered, a malformed one too, so that no tool waits for nothing.
void ToolDataServerProvider::answerSandboxAccess(ToolDataAgentProvider& tool,
                                                 const platform::PortMessage& message) {
    const std::string name = tool.name();
    std::optional<Data> bookmark;
    if (openRequests_.insert(name).second) {
        bookmark = bookmarkForRequest(readSandboxRequest(message));
        openRequests_.erase(name);
    }
    tool.sendCommand(ToolMessageSandboxAccess, bookmark);
}

std::optional<Data> ToolDataServerProvider::bookmarkForRequest(const SandboxRequest& request) {
    if (const auto* folder = std::get_if<SandboxFolderRequest>(&request))
        return bookmarkForSandboxAccessForPath(folder->path, folder->message, folder->options);
    if (const auto* special = std::get_if<SandboxSpecialRequest>(&request))
        return bookmarkForSandboxAccessForSpecialDir(special->code);
    return std::nullopt;
}

std::optional<Data> ToolDataServerProvider::grantCovering(const std::string& path) const {
    const auto covers = [&](const Data& grant) {
        const auto url = platform::resolveBookmark(grant);
        return url && path.starts_with(url->path());
    };
    const auto grant = std::find_if(sandboxBookmarks_.begin(), sandboxBookmarks_.end(), covers);
    return grant == sandboxBookmarks_.end() ? std::nullopt : std::optional(*grant);
}

bool ToolDataServerProvider::restoreSandboxAccess(const std::string& path) {
    if (FileManager::isWritable(path))
        return true;
    if (const auto grant = grantCovering(path))
        platform::startAccessingSecurityScopedResource(*grant);
    return FileManager::isWritable(path);
}

std::optional<Data> ToolDataServerProvider::bookmarkForSandboxAccessForPath(const std::string& path,
                                                                            const std::string& message,
                                                                            std::uint64_t options) {
    if (restoreSandboxAccess(path))
        return plainBookmark(FileUrl(path));
    return askForFolder(path, message, options);
}

std::optional<Data> ToolDataServerProvider::askForFolder(const std::string& path, const std::string& message,
                                                         std::uint64_t options) {
    platform::Application& application = platform::Application::shared();
    const bool wasActive = application.isActive();
    application.activateIgnoringOtherApps(true);
    platform::OpenPanel panel = panelFor(path, message);
    SandboxDialogDelegate onlyTheProposed(panel.directoryUrl());
    if ((options & ToolSandboxRestrictToDirectory) != 0)
        panel.setDelegate(&onlyTheProposed);
    const platform::ModalResponse response = panel.runModal();
    application.activateIgnoringOtherApps(wasActive);
    if (response != platform::ModalResponse::OK)
        return std::nullopt;
    saveSandboxAccess(panel.url());
    return plainBookmark(panel.url());
}

void ToolDataServerProvider::saveSandboxAccess(const std::optional<FileUrl>& url) {
    if (!url)
        return;
    auto grant = platform::bookmarkFor(*url, platform::BookmarkScope::Security);
    if (!grant)
        return KWLogVariadic("Error saving bookmark for %@: %@", url->text(), grant.error().description);
    sandboxBookmarks_.push_back(*std::move(grant));
    platform::UserDefaults& own = platform::UserDefaults::standard();
    own.setObjectForKey(platform::Array(sandboxBookmarks_.begin(), sandboxBookmarks_.end()),
                        kToolDataProviderSandboxBookmarks);
    own.synchronize();
}

std::optional<Data> ToolDataServerProvider::bookmarkForSandboxAccessForSpecialDir(std::uint64_t code) {
    if (code != ToolDesktopDirectory)
        return std::nullopt;
    // A preferences object of its own, without the lock: it writes the one key when it goes, over what the
    // file then holds.
    platform::UserDefaults preferences(kAppGroupIdentifier);
    std::string proposed = preferences.stringForKey(rememberedFolderKey(code)).value_or("");
    if (!proposed.starts_with('/')) { // nothing is remembered, or nothing that this system wrote
        const auto home = platform::SearchPaths::userDatabaseHome();
        if (!home)
            return std::nullopt;
        proposed = *home + "/Desktop";
    }
    auto bookmark = bookmarkForSandboxAccessForPath(
        proposed, localizedString("Allow Corvalen Kitwell to save files on your Desktop"), 0);
    if (const auto chosen = bookmark ? platform::resolveBookmark(*bookmark) : std::nullopt)
        preferences.setObjectForKey(chosen->path(), rememberedFolderKey(code));
    return bookmark;
}

} // namespace kitwell
