#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "KitwellCommon/Export.h"
#include "KitwellCommon/SharedState/ToolPersistentDataLazyWriter.h"
#include "KitwellCommon/Telemetry/CEPInfo.h"
#include "KitwellCommon/ToolDataProvider/ToolMessage.h"
#include "KitwellPlatform/RunLoop/NotificationCenter.h"

namespace kitwell {

// Through this object a tool application talks to the agent. It publishes the tool's port, holds what the
// tool presents in the agent's menu, pushes each change while the agent wants it, persists the presentation
// when the application terminates, carries out the agent's commands, and can start the agent.
//
// A tool makes one when it starts. The agent is not contacted before the first send; while it is not running
// every send ends silently, and the values reach it when it asks for them. Two clients in one process would
// want the same port name; the second one would not be reachable.
//
// Belongs to the thread that made it, whose run loop delivers the commands; in practice the main thread.
class KITWELL_API ToolDataClientProvider : public CEPInfoHolder {
public:
    using Block = std::function<void()>;

    ToolDataClientProvider();
    ~ToolDataClientProvider();
    ToolDataClientProvider(const ToolDataClientProvider&) = delete;
    ToolDataClientProvider& operator=(const ToolDataClientProvider&) = delete;

    // ---- What the tool presents.

    const std::optional<platform::Image>& toolIcon() const { return toolIcon_; }
    const std::optional<platform::Image>& menuIcon() const { return menuIcon_; }
    const std::optional<std::string>& menuText() const { return menuText_; }
    ToolStatus toolStatus() const { return toolStatus_; }

    // Sends the icon when the agent wants tool icons (`toolIconNeeded`); blocks 0.5 s at most.
    void setToolIcon(std::optional<platform::Image> icon);
    // Each sends its value when the agent wants menu data (`menuIconNeeded`); blocks 0.5 s at most.
    void setMenuIcon(std::optional<platform::Image> icon);
    void setMenuText(std::optional<std::string> text);
    // Always sends, also the value that is held already; blocks 30 s at most. With ToolStatusPermanent the
    // tool stays visible when it does not run.
    void setToolStatus(ToolStatus status);

    // What was or will be persisted.
    ToolPersistentDataLazyWriter& persist() { return persist_; }

    // ---- What the agent's commands do here. Copied; an empty one stands for the default reaction.

    // The tool's date schedule is due.
    void setDateScheduleBlock(Block block) { dateScheduleBlock_ = std::move(block); }
    const Block& dateScheduleBlock() const { return dateScheduleBlock_; }
    // Runs before the application terminates because the agent turned the tool off.
    void setTurnToolOffBlock(Block block) { turnToolOffBlock_ = std::move(block); }
    const Block& turnToolOffBlock() const { return turnToolOffBlock_; }
    // The menu icon was clicked. By default the application's delegate handles a reopen and the application
    // comes to the front.
    void setClickMenuIconBlock(Block block) { clickMenuIconBlock_ = std::move(block); }
    const Block& clickMenuIconBlock() const { return clickMenuIconBlock_; }

    // ---- The link.

    // Whether the agent's port is known or can be looked up now.
    bool checkAgentPort();
    // Makes sure that the agent runs and its port is known: starts it when needed and waits in short passes
    // of the run loop, 50 times 0.1 s at most. Commands are handled meanwhile. Shows nothing to the user.
    bool launchAgentIfNeeded();
    // Forgets the agent's port; the next send looks it up afresh. The needed flags keep their values.
    void unsubscribeFromAgentPort();

    // Each looks the agent up and sends once; nothing is sent without an agent, nor a menu icon or menu text
    // that the tool does not have. Without a tool icon the agent is told that there is none.
    void sendStatus();
    void sendToolIcon();
    void sendMenuIcon();
    void sendMenuText();

    // ---- Access to folders (SandboxAccess.cpp).

    // Sends a request made of exactly these components (sandboxFolderRequest, sandboxSpecialRequest) and
    // waits for the reply in short passes of the run loop, so that the agent's commands are handled
    // meanwhile. There is no limit in time while the agent lives: the agent asks a person, who may take long.
    // The wait ends with the agent (also when another one came at once), or with this application. False when
    // the agent cannot be launched or does not take the request within 5 s, and when the wait ended without a
    // reply; otherwise `sandboxReplyDir` holds the granted path, or nothing when access was not granted.
    // False at once, with nothing sent, while another call waits: commands are carried out during the wait,
    // and what they run may come back here.
    bool requestSandboxAccessCommand(std::vector<platform::Data> components);
    // The path of the last reply; nothing when that reply granted none. Empty while a request waits.
    std::optional<std::string> sandboxReplyDir() const;
    void setSandboxReplyDir(std::optional<std::string> path);
    // Answers by itself, asking nobody: the path when this process can write there, else nothing.
    std::optional<std::string> requestAccessToDirectory(const std::string& path, const std::string& message,
                                                        std::uint64_t options);
    std::optional<std::string> requestAccessToDirectory(const std::string& path, const std::string& message);
    // The user's own Desktop folder for ToolDesktopDirectory; nothing for any other code.
    std::optional<std::string> getToolSpecialDirectory(std::uint64_t code);

    // ---- The plumbing. The mechanism itself sets these values.

    const platform::Data& toolId() const { return toolId_; }
    void setToolId(platform::Data toolId) { toolId_ = std::move(toolId); }
    const std::string& portName() const { return portName_; }
    void setPortName(std::string name) { portName_ = std::move(name); }
    const std::shared_ptr<platform::Port>& servicePort() const { return servicePort_; }
    void setServicePort(std::shared_ptr<platform::Port> port) { servicePort_ = std::move(port); }
    const std::shared_ptr<platform::Port>& agentPort() const { return agentPort_; }
    void setAgentPort(std::shared_ptr<platform::Port> port) { agentPort_ = std::move(port); }
    bool isAgentConnected() const { return isAgentConnected_; }
    void setIsAgentConnected(bool isConnected) { isAgentConnected_ = isConnected; }
    bool toolIconNeeded() const { return toolIconNeeded_; }
    void setToolIconNeeded(bool isNeeded) { toolIconNeeded_ = isNeeded; }
    bool menuIconNeeded() const { return menuIconNeeded_; }
    void setMenuIconNeeded(bool isNeeded) { menuIconNeeded_ = isNeeded; }
    // The reactions, called by the port and the notification centre.
    void handlePortMessage(const platform::PortMessage& message);
    void portDidBecomeInvalid();
    void appDidFinishLaunching();
    void appWillTerminate();

private:
    using SharedText = std::shared_ptr<const std::string>;
    static const SharedText& pendingReply();

    std::shared_ptr<platform::Port> publishPort();
    void send(const platform::PortMessage& message);
    bool askForAccess(const platform::PortMessage& request);
    void handleToolIconNeeded(const platform::PortMessage& message);
    void handleMenuIconNeeded(const platform::PortMessage& message);
    void turnOff();
    void clickMenuIcon();

    platform::Data toolId_;
    std::string portName_;
    std::shared_ptr<platform::Port> servicePort_;
    ToolPersistentDataLazyWriter persist_;
    std::shared_ptr<platform::Port> agentPort_;
    bool isAgentConnected_ = false;
    bool toolIconNeeded_ = false;
    bool menuIconNeeded_ = false;
    SharedText sandboxReplyDir_; // null for none
    bool isAskingForAccess_ = false;

    ToolStatus toolStatus_ = ToolStatusOff;
    std::optional<platform::Image> toolIcon_;
    std::optional<platform::Image> menuIcon_;
    std::optional<std::string> menuText_;
    Block dateScheduleBlock_;
    Block turnToolOffBlock_;
    Block clickMenuIconBlock_;

    platform::NotificationCenter::Subscription agentPortDeath_;
    platform::NotificationCenter::Subscription didFinishLaunching_;
    platform::NotificationCenter::Subscription willTerminate_;
};

} // namespace kitwell
