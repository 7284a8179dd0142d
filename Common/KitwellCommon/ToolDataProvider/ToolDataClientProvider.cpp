#include "KitwellCommon/ToolDataProvider/ToolDataClientProvider.h"

#include <chrono>

#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Applications/Workspace.h"
#include "KitwellPlatform/Ports/PortNameServer.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"

namespace kitwell {

using platform::Application;
using platform::NotificationCenter;
using platform::PortMessage;
using platform::PortNameServer;
using platform::RunLoop;

namespace {

constexpr std::chrono::milliseconds kWaitingPass{100};
constexpr int kMaxLaunchPasses = 50;

void runIfSet(const ToolDataClientProvider::Block& block) {
    if (const ToolDataClientProvider::Block copy = block) // the block may replace itself
        copy();
}

} // namespace

// The members are made in the order of their declaration: the port is published before the persisted data is
// read.
ToolDataClientProvider::ToolDataClientProvider()
    : toolId_(toolIdentifier(platform::Bundle::main().bundleUrl().path())),
      portName_(toolPortName(platform::Bundle::main().bundleUrl().path())), servicePort_(publishPort()) {
    if (persist_.isPermanent()) {
        toolStatus_ = ToolStatusPermanent;
        menuText_ = persist_.menuText();
    }
    if (Application::shared().isFinishedLaunching()) {
        appDidFinishLaunching();
        return;
    }
    didFinishLaunching_ = NotificationCenter::defaultCenter().observe(
        platform::kApplicationDidFinishLaunchingNotification, nullptr,
        [this](const platform::Notification&) { appDidFinishLaunching(); });
}

ToolDataClientProvider::~ToolDataClientProvider() {
    unsubscribeFromAgentPort();
    if (servicePort_)
        servicePort_->invalidate(); // ends the delivery and withdraws the name
}

std::shared_ptr<platform::Port> ToolDataClientProvider::publishPort() {
    auto port =
        platform::Port::receivePort([this](const PortMessage& message) { handlePortMessage(message); });
    PortNameServer::systemDefault().registerPort(port, portName_);
    port->addToRunLoop(RunLoop::current());
    return port;
}

void ToolDataClientProvider::setToolIcon(std::optional<platform::Image> icon) {
    persist_.setToolIcon(icon);
    toolIcon_ = std::move(icon);
    if (toolIconNeeded_)
        sendToolIcon();
}

void ToolDataClientProvider::setMenuIcon(std::optional<platform::Image> icon) {
    persist_.setMenuIcon(icon);
    menuIcon_ = std::move(icon);
    if (menuIconNeeded_)
        sendMenuIcon();
}

void ToolDataClientProvider::setMenuText(std::optional<std::string> text) {
    persist_.setMenuText(text);
    menuText_ = std::move(text);
    if (menuIconNeeded_)
        sendMenuText();
}

void ToolDataClientProvider::setToolStatus(ToolStatus status) {
    persist_.setIsPermanent(status == ToolStatusPermanent);
    toolStatus_ = status;
    sendStatus();
}

void ToolDataClientProvider::sendStatus() {
    if (checkAgentPort())
        send(statusMessage(toolId_, toolStatus_));
}

void ToolDataClientProvider::sendToolIcon() {
    if (checkAgentPort())
        send(toolIconMessage(toolId_, toolIcon_));
}

void ToolDataClientProvider::sendMenuIcon() {
    if (!checkAgentPort() || !menuIcon_)
        return;
    if (const auto message = menuIconMessage(toolId_, *menuIcon_))
        send(*message);
}

void ToolDataClientProvider::sendMenuText() {
    if (checkAgentPort() && menuText_)
        send(menuTextMessage(toolId_, *menuText_));
}

// The port is held for the time of the send: its death may be told, and the port forgotten, before the send
// returns.
void ToolDataClientProvider::send(const PortMessage& message) {
    const std::shared_ptr<platform::Port> port = agentPort_;
    sendToolMessage(*port, message, Direction::ToAgent);
}

bool ToolDataClientProvider::checkAgentPort() {
    if (agentPort_)
        return true;
    agentPort_ = PortNameServer::systemDefault().portForName(kAgentPortName);
    if (!agentPort_)
        return false;
    agentPortDeath_ = NotificationCenter::defaultCenter().observe(
        platform::kPortDidBecomeInvalidNotification, agentPort_.get(),
        [this](const platform::Notification&) { portDidBecomeInvalid(); });
    isAgentConnected_ = true;
    return true;
}

bool ToolDataClientProvider::launchAgentIfNeeded() {
    if (checkAgentPort())
        return true;
    if (!platform::Workspace::launchApplication(kAgentBundleIdentifier, platform::LaunchOptions::Default))
        return false;
    bool isReachable = checkAgentPort();
    for (int pass = 0; !isReachable && pass < kMaxLaunchPasses; ++pass) {
        RunLoop::current().runFor(kWaitingPass);
        isReachable = checkAgentPort();
    }
    return isAgentConnected_;
}

void ToolDataClientProvider::unsubscribeFromAgentPort() {
    if (!agentPort_)
        return;
    agentPortDeath_.end();
    const std::shared_ptr<platform::Port> port = std::move(agentPort_);
    agentPort_ = nullptr;
    isAgentConnected_ = false;
    port->invalidate(); // last: whoever is told of it may already look the agent up again
}

void ToolDataClientProvider::portDidBecomeInvalid() {
    unsubscribeFromAgentPort();
}

void ToolDataClientProvider::appDidFinishLaunching() {
    willTerminate_ = NotificationCenter::defaultCenter().observe(
        platform::kApplicationWillTerminateNotification, nullptr,
        [this](const platform::Notification&) { appWillTerminate(); });
}

void ToolDataClientProvider::appWillTerminate() {
    sendToolIcon();
    sendMenuIcon();
    sendMenuText();
}

void ToolDataClientProvider::handlePortMessage(const PortMessage& message) {
    switch (message.msgid) {
    case ToolMessageStatus:
        return sendStatus();
    case ToolMessageToolIcon:
        return handleToolIconNeeded(message);
    case ToolMessageMenuIcon:
        return handleMenuIconNeeded(message);
    case ToolMessageDateSchedule:
        return runIfSet(dateScheduleBlock_);
    case ToolMessageTurnOff:
        return turnOff();
    case ToolMessageSandboxAccess:
        return setSandboxReplyDir(readSandboxReply(message));
    case ToolMessageClickMenuIcon:
        return clickMenuIcon();
    default:
        return;
    }
}

void ToolDataClientProvider::handleToolIconNeeded(const PortMessage& message) {
    const NeededFlag flag = readNeededFlag(message);
    if (flag == NeededFlag::Malformed)
        return;
    if (flag != NeededFlag::Unchanged)
        toolIconNeeded_ = flag == NeededFlag::Yes;
    if (toolIconNeeded_)
        sendToolIcon();
}

void ToolDataClientProvider::handleMenuIconNeeded(const PortMessage& message) {
    const NeededFlag flag = readNeededFlag(message);
    if (flag == NeededFlag::Malformed)
        return;
    if (flag != NeededFlag::Unchanged)
        menuIconNeeded_ = flag == NeededFlag::Yes;
    if (menuIconNeeded_) {
        sendMenuIcon();
        sendMenuText();
    }
}

void ToolDataClientProvider::turnOff() {
    runIfSet(turnToolOffBlock_);
    Application::shared().terminate();
}

void ToolDataClientProvider::clickMenuIcon() {
    if (clickMenuIconBlock_)
        return runIfSet(clickMenuIconBlock_);
    Application& application = Application::shared();
    if (platform::ApplicationDelegate* delegate = application.delegate())
        delegate->applicationShouldHandleReopen(application, application.hasVisibleWindows());
    application.activateIgnoringOtherApps(true);
}

} // namespace kitwell
