#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "KitwellCommon/Export.h"
#include "KitwellCommon/SharedState/ToolPersistentDataReader.h"
#include "KitwellCommon/Telemetry/CEPInfo.h"
#include "KitwellCommon/ToolDataProvider/ToolMessage.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/RunLoop/NotificationCenter.h"

// The agent's side of the link: the service that receives, and one proxy for each tool.

namespace kitwell {

// The agent's own preference with the stored grants of directory access: an array of data.
inline constexpr char kToolDataProviderSandboxBookmarks[] = "ToolDataProviderSandboxBookmarks";

// Posted to the default notification centre, with the proxy as its object, after a value that the agent shows
// was set: icons, menu text, status, wasLaunched.
inline constexpr char kToolDataAgentProviderDidChangeNotification[] =
    "ToolDataAgentProviderDidChangeNotification";

// The agent's picture of one tool: what it shows for it, the tool's port while the tool runs, the commands to
// it, and its persisted presentation while a permanent tool does not run. Held strongly by the service's
// registry from its set-up until `removeTool`. Belongs to the thread of the service, in practice the main
// thread.
class KITWELL_API ToolDataAgentProvider : public std::enable_shared_from_this<ToolDataAgentProvider>,
                                          public CEPInfoHolder {
public:
    static std::shared_ptr<ToolDataAgentProvider> create();
    ~ToolDataAgentProvider();
    ToolDataAgentProvider(const ToolDataAgentProvider&) = delete;
    ToolDataAgentProvider& operator=(const ToolDataAgentProvider&) = delete;

    // Names the tool and registers with the service (making the service if this is the first one). The tool
    // is reached only when the URL's path is the very path of its own bundle. A second call registers a
    // second time.
    void setupWithToolURL(const platform::FileUrl& url, std::string bundleId);

    // The tool bundle's path, by which messages are matched.
    const std::string& name() const { return name_; }
    const std::string& bundleId() const { return bundleId_; }
    // Null while the tool is not reachable.
    const std::shared_ptr<platform::Port>& toolPort() const { return toolPort_; }
    // Null before the set-up.
    const std::shared_ptr<ToolPersistentDataReader>& persist() const { return persist_; }
    void setPersist(std::shared_ptr<ToolPersistentDataReader> persist) { persist_ = std::move(persist); }

    // ---- What the agent shows.

    const std::optional<platform::Image>& toolIcon() const { return toolIcon_; }
    const std::optional<platform::Image>& menuIcon() const { return menuIcon_; }
    const std::optional<std::string>& menuText() const { return menuText_; }
    ToolStatus status() const { return status_; }
    // Whether the tool has sent its status since the proxy was made.
    bool wasLaunched() const { return wasLaunched_; }

    void setToolIcon(std::optional<platform::Image> icon);
    void setMenuIcon(std::optional<platform::Image> icon);
    void setMenuText(std::optional<std::string> text);
    void setWasLaunched(bool wasLaunched);
    // Tries to open the tool's port first, whatever the value (which tells the tool what is needed).
    // ToolStatusOn is stored as ToolStatusOff when the port cannot be opened.
    void setStatus(ToolStatus status);
    // Replaces each shown value for which the persisted data has one.
    void setPermanentIcons();

    // ---- What the agent wants.

    bool toolIconNeeded() const { return toolIconNeeded_; }
    bool menuIconNeeded() const { return menuIconNeeded_; }
    // A new value is sent to the tool; an equal one is not. A tool that does not run is told when its port
    // opens.
    void setToolIconNeeded(bool isNeeded);
    void setMenuIconNeeded(bool isNeeded);
    void sendToolIconNeeded();
    void sendMenuIconNeeded();
    // Asks the tool for its status, which arrives as a message. When the tool cannot be asked and is
    // permanent, it is shown from its persisted data.
    void requestStatus();

    // Looks the tool's port up when it is not known; a port that opens is told at once what is needed.
    bool ensureToolPortOpen();
    // Whether the command was queued to the tool. Blocks 10 s at most, when the tool's queue is full.
    bool sendCommand(std::uint32_t command, const std::optional<platform::Data>& params);

    // The reaction to the death of the tool's port.
    void portDied();

private:
    ToolDataAgentProvider() = default;
    void tellChange();
    // Whoever is told of a change or of a port's death may remove this proxy: each operation that goes on
    // after telling holds it until its end.
    std::shared_ptr<const ToolDataAgentProvider> keepAlive() const { return shared_from_this(); }

    std::string name_;
    std::string bundleId_;
    std::shared_ptr<ToolPersistentDataReader> persist_;
    std::shared_ptr<platform::Port> toolPort_;
    std::optional<platform::Image> toolIcon_;
    std::optional<platform::Image> menuIcon_;
    std::optional<std::string> menuText_;
    ToolStatus status_ = ToolStatusOff;
    bool wasLaunched_ = false;
    bool toolIconNeeded_ = false;
    bool menuIconNeeded_ = false;
    platform::NotificationCenter::Subscription toolPortDeath_;
};

// The agent's one end point for messages of tools, and the registry of proxies. Every message goes to each
// proxy whose name is exactly the sender's path, in the order of registration; messages of unknown tools, of
// unknown kinds, and malformed ones are dropped without a trace. Belongs to the thread of the first
// `sharedInstance` call, whose run loop delivers the messages; in practice the main thread.
class KITWELL_API ToolDataServerProvider : public CEPInfoHolder {
public:
    using Tools = std::vector<std::shared_ptr<ToolDataAgentProvider>>;

    // Made by the first call, also when several threads make it at once. If another agent holds the service
    // port's name, this service receives nothing.
    static ToolDataServerProvider& sharedInstance();

    ToolDataServerProvider();
    ~ToolDataServerProvider();
    ToolDataServerProvider(const ToolDataServerProvider&) = delete;
    ToolDataServerProvider& operator=(const ToolDataServerProvider&) = delete;

    // Appends; a proxy that is added twice stands in the list twice.
    void addTool(std::shared_ptr<ToolDataAgentProvider> tool);
    // Removes every occurrence of this proxy.
    void removeTool(const ToolDataAgentProvider* tool);

    const std::shared_ptr<platform::Port>& servicePort() const { return servicePort_; }
    const Tools& tools() const { return tools_; }
    // For the agent application; the service leaves it empty.
    const Tools& permanentTools() const { return permanentTools_; }
    const std::vector<platform::Data>& sandboxBookmarks() const { return sandboxBookmarks_; }

    void handlePortMessage(const platform::PortMessage& message);

    // ---- Access to folders (SandboxAccess.cpp).

    // Answers a tool's request: with a bookmark, or with nothing when access was not obtained. While a
    // request of this tool is being answered, which may take as long as the person likes, each further one is
    // answered with nothing at once.
    void answerSandboxAccess(ToolDataAgentProvider& tool, const platform::PortMessage& message);
    // A plain bookmark of the folder when the agent can write there, at once or through a stored grant; else
    // the user is asked with an open panel that proposes the folder, what is chosen is stored as a grant, and
    // the bookmark is of that. Nothing when the user declined. Waits for the person; tools' messages are
    // handled meanwhile.
    std::optional<platform::Data> bookmarkForSandboxAccessForPath(const std::string& path,
                                                                  const std::string& message,
                                                                  std::uint64_t options);
    // The same for ToolDesktopDirectory, proposing what the user chose last for it, at first the "Desktop" in
    // the home folder of the user database. Nothing for any other code.
    std::optional<platform::Data> bookmarkForSandboxAccessForSpecialDir(std::uint64_t code);
    // The first stored grant whose path the text of this path begins with, character for character: a grant
    // for /a/b also covers /a/bc. A grant that leads nowhere covers nothing.
    std::optional<platform::Data> grantCovering(const std::string& path) const;
    // Whether the agent can write to the path, after starting the grant that covers it.
    bool restoreSandboxAccess(const std::string& path);
    // Appends a grant to the list and stores the list in the agent's own preferences. The same place may be
    // granted twice; nothing is ever removed.
    void saveSandboxAccess(const std::optional<platform::FileUrl>& url);

private:
    std::optional<platform::Data> bookmarkForRequest(const SandboxRequest& request);
    std::optional<platform::Data> askForFolder(const std::string& path, const std::string& message,
                                               std::uint64_t options);

    Tools tools_;
    Tools permanentTools_;
    std::shared_ptr<platform::Port> servicePort_;
    std::vector<platform::Data> sandboxBookmarks_;
    std::set<std::string> openRequests_; // the names of the tools whose request is being answered
};

} // namespace kitwell
