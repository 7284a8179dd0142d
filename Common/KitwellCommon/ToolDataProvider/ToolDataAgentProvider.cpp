#include "KitwellCommon/ToolDataProvider/ToolDataAgentProvider.h"

#include <algorithm>
#include <iterator>

#include "KitwellPlatform/Ports/PortNameServer.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"

namespace kitwell {

using platform::NotificationCenter;
using platform::PortMessage;
using platform::PortNameServer;
using platform::RunLoop;

namespace {

std::vector<platform::Data> storedSandboxBookmarks() {
    std::vector<platform::Data> bookmarks;
    const auto stored = platform::UserDefaults::standard().arrayForKey(kToolDataProviderSandboxBookmarks);
    for (const platform::Value& value : stored.value_or(platform::Array())) {
        if (const platform::Data* bookmark = value.asData())
            bookmarks.push_back(*bookmark);
    }
    return bookmarks;
}

void handleStatus(ToolDataAgentProvider& tool, const PortMessage& message) {
    if (const auto status = readStatus(message)) {
        tool.setStatus(*status);
        tool.setWasLaunched(true);
    }
}

void handleMessageOfTool(ToolDataServerProvider& service, ToolDataAgentProvider& tool,
                         const PortMessage& message) {
    switch (message.msgid) {
    case ToolMessageStatus:
        return handleStatus(tool, message);
    case ToolMessageToolIcon:
        if (auto icon = readToolIcon(message))
            tool.setToolIcon(std::move(icon->image));
        return;
    case ToolMessageMenuIcon:
        if (auto icon = readMenuIcon(message))
            tool.setMenuIcon(std::move(icon->image));
        return;
    case ToolMessageSandboxAccess:
        return service.answerSandboxAccess(tool, message);
    case ToolMessageMenuText:
        if (auto text = readMenuText(message))
            tool.setMenuText(std::move(text->text));
        return;
    default:
        return;
    }
}

} // namespace

// ---- The proxy.

std::shared_ptr<ToolDataAgentProvider> ToolDataAgentProvider::create() {
    struct Creatable : ToolDataAgentProvider {};
    return std::make_shared<Creatable>();
}

ToolDataAgentProvider::~ToolDataAgentProvider() = default;

void ToolDataAgentProvider::setupWithToolURL(const platform::FileUrl& url, std::string bundleId) {
    name_ = url.path();
    bundleId_ = std::move(bundleId);
    persist_ = std::make_shared<ToolPersistentDataReader>(url.lastPathComponent(), bundleId_);
    ToolDataServerProvider::sharedInstance().addTool(shared_from_this());
}

bool ToolDataAgentProvider::ensureToolPortOpen() {
    if (toolPort_)
        return true;
    const auto self = keepAlive();
    toolPort_ = PortNameServer::systemDefault().portForName(toolPortName(name_));
    if (!toolPort_)
        return false;
    toolPortDeath_ = NotificationCenter::defaultCenter().observe(
        platform::kPortDidBecomeInvalidNotification, toolPort_.get(),
        [this](const platform::Notification&) { portDied(); });
    tellChange();
    sendToolIconNeeded();
    sendMenuIconNeeded();
    return toolPort_ != nullptr; // it may have died, and been forgotten, meanwhile
}

bool ToolDataAgentProvider::sendCommand(std::uint32_t command, const std::optional<platform::Data>& params) {
    const auto self = keepAlive();
    if (!ensureToolPortOpen())
        return false;
    const std::shared_ptr<platform::Port> port =
        toolPort_; // a death that the send finds lets go of the other hold
    return sendToolMessage(*port, commandMessage(command, params), Direction::ToTool) == SendOutcome::Queued;
}

void ToolDataAgentProvider::setToolIconNeeded(bool isNeeded) {
    if (isNeeded == toolIconNeeded_)
        return;
    toolIconNeeded_ = isNeeded;
    sendToolIconNeeded();
}

void ToolDataAgentProvider::setMenuIconNeeded(bool isNeeded) {
    if (isNeeded == menuIconNeeded_)
        return;
    menuIconNeeded_ = isNeeded;
    sendMenuIconNeeded();
}

void ToolDataAgentProvider::sendToolIconNeeded() {
    sendCommand(ToolMessageToolIcon, flagData(toolIconNeeded_));
}

void ToolDataAgentProvider::sendMenuIconNeeded() {
    sendCommand(ToolMessageMenuIcon, flagData(menuIconNeeded_));
}

void ToolDataAgentProvider::setStatus(ToolStatus status) {
    const auto self = keepAlive();
    const bool isReachable = ensureToolPortOpen();
    status_ = status == ToolStatusOn && !isReachable ? ToolStatusOff : status;
    tellChange();
}

void ToolDataAgentProvider::requestStatus() {
    const auto self = keepAlive();
    if (sendCommand(ToolMessageStatus, std::nullopt))
        return;
    if (persist_ && persist_->isPermanent()) {
        setStatus(ToolStatusPermanent);
        setPermanentIcons();
    }
}

void ToolDataAgentProvider::setPermanentIcons() {
    const auto self = keepAlive();
    if (!persist_)
        return;
    if (auto icon = persist_->toolIcon())
        setToolIcon(std::move(icon));
    if (auto icon = persist_->menuIcon())
        setMenuIcon(std::move(icon));
    if (auto text = persist_->menuText())
        setMenuText(std::move(text));
}

void ToolDataAgentProvider::portDied() {
    if (!toolPort_)
        return;
    const auto self = keepAlive();
    toolPortDeath_.end();
    toolPort_ = nullptr;
    if (status_ == ToolStatusOn)
        setStatus(ToolStatusOff);
    else if (status_ == ToolStatusPermanent)
        setPermanentIcons();
    tellChange();
}

void ToolDataAgentProvider::setToolIcon(std::optional<platform::Image> icon) {
    toolIcon_ = std::move(icon);
    tellChange();
}

void ToolDataAgentProvider::setMenuIcon(std::optional<platform::Image> icon) {
    menuIcon_ = std::move(icon);
    tellChange();
}

void ToolDataAgentProvider::setMenuText(std::optional<std::string> text) {
    menuText_ = std::move(text);
    tellChange();
}

void ToolDataAgentProvider::setWasLaunched(bool wasLaunched) {
    wasLaunched_ = wasLaunched;
    tellChange();
}

void ToolDataAgentProvider::tellChange() {
    NotificationCenter::defaultCenter().post(kToolDataAgentProviderDidChangeNotification, this);
}

// ---- The service.

ToolDataServerProvider& ToolDataServerProvider::sharedInstance() {
    static ToolDataServerProvider instance;
    return instance;
}

ToolDataServerProvider::ToolDataServerProvider()
    : servicePort_(
          platform::Port::receivePort([this](const PortMessage& message) { handlePortMessage(message); })),
      sandboxBookmarks_(storedSandboxBookmarks()) {
    PortNameServer::systemDefault().registerPort(servicePort_, kAgentPortName);
    servicePort_->addToRunLoop(RunLoop::current());
}

// Ends the delivery and withdraws the name.
ToolDataServerProvider::~ToolDataServerProvider() {
    servicePort_->invalidate();
}

void ToolDataServerProvider::addTool(std::shared_ptr<ToolDataAgentProvider> tool) {
    tools_.push_back(std::move(tool));
}

void ToolDataServerProvider::removeTool(const ToolDataAgentProvider* tool) {
    // What leaves the registry goes only after the list is whole again: its end may come back here.
    const auto firstRemoved = std::stable_partition(
        tools_.begin(), tools_.end(), [tool](const auto& registered) { return registered.get() != tool; });
    const Tools removed(std::make_move_iterator(firstRemoved), std::make_move_iterator(tools_.end()));
    tools_.erase(firstRemoved, tools_.end());
}

// A handler may run the loop, and so receive further messages, and may change the registry: the walk is over
// a copy.
void ToolDataServerProvider::handlePortMessage(const PortMessage& message) {
    const auto sender = senderOf(message);
    if (!sender)
        return;
    Tools addressed;
    std::copy_if(tools_.begin(), tools_.end(), std::back_inserter(addressed),
                 [&](const auto& tool) { return tool->name() == *sender; });
    for (const auto& tool : addressed)
        handleMessageOfTool(*this, *tool, message);
}

} // namespace kitwell
