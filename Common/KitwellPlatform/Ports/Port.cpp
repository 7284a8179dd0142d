#include "KitwellPlatform/Ports/Port.h"

#include "KitwellPlatform/Ports/PortState.h"
#include "KitwellPlatform/RunLoop/NotificationCenter.h"

namespace kitwell::platform {

Port::Port(std::unique_ptr<State> state) : state_(std::move(state)) {}

Port::~Port() {
    if (state_->receiving)
        state_->receiving->close();
}

std::shared_ptr<Port> Port::make(std::unique_ptr<State> state) {
    struct Made : Port {
        explicit Made(std::unique_ptr<State> made) : Port(std::move(made)) {}
    };
    return std::make_shared<Made>(std::move(state));
}

std::shared_ptr<Port> Port::receivePort(MessageHandler handler) {
    auto state = std::make_unique<State>();
    state->receiving = std::make_shared<ReceivePort>(std::move(handler));
    return make(std::move(state));
}

std::shared_ptr<Port> Port::sendPort(FileDescriptor socket, int owner) {
    auto state = std::make_unique<State>();
    state->owner = owner;
    state->sending.emplace(std::move(socket));
    auto port = make(std::move(state));
    port->state_->death = RunLoop::current().watch(
        port->state_->sending->descriptor(), RunLoop::Interest::HangUp, RunLoopModes::Common,
        [port = port.get()](RunLoop::Events) { port->ownerDied(); });
    return port->state_->death ? port : nullptr;
}

bool Port::isValid() const {
    return state_->isValid;
}

void Port::invalidate() {
    if (!state_->isValid)
        return;
    const auto held = shared_from_this(); // an observer may drop the port
    state_->isValid = false;
    state_->death.end();
    state_->sending.reset();
    if (state_->receiving)
        state_->receiving->close();
    NotificationCenter::defaultCenter().post(kPortDidBecomeInvalidNotification, this);
}

void Port::ownerDied() {
    const auto held = shared_from_this(); // the messages' handlers may drop the port
    state_->death.end();
    ReceivePort::deliverLastWordsOf(state_->owner);
    invalidate();
}

void Port::addToRunLoop(RunLoop& loop) {
    if (state_->isValid && state_->receiving)
        state_->receiving->addTo(loop);
}

void Port::removeFromRunLoop(RunLoop& loop) {
    if (state_->receiving)
        state_->receiving->removeFrom(loop);
}

bool PortMessage::sendBeforeDate(Port& port, Date deadline) const {
    const auto frame = PortFrame::forMessage(*this);
    if (!frame)
        throw PortException(kPortMessageTooLargeException, frame.error().description);
    if (!port.state_->sending)
        throw PortException(kInvalidSendPortException, "the port is not, or no longer, one to send to");
    const auto outcome = port.state_->sending->send(*frame, components, deadline);
    if (outcome == SendConnection::Outcome::PeerGone) {
        port.invalidate();
        throw PortException(kInvalidSendPortException, "the owner of the port is gone");
    }
    return outcome == SendConnection::Outcome::Queued;
}

} // namespace kitwell::platform
