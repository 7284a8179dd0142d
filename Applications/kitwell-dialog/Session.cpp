#include "kitwell-dialog/Session.h"

#include <glib-unix.h>

#include "kitwell-dialog/AlertWindow.h"
#include "kitwell-dialog/PanelWindow.h"

namespace kitwell::dialog {

using namespace platform;

bool Session::run() {
    const auto packet = channel_.receive();
    const auto request = packet ? dialogRequestFrom(*packet) : std::nullopt;
    if (!request)
        return false;
    const Teller teller = [this](const DialogReply& reply) { tell(reply); };
    if (const auto* alert = std::get_if<AlertContent>(&*request)) {
        const AlertWindow window(*alert, teller);
        runLoop();
        return true;
    }
    if (const auto* content = std::get_if<OpenPanelContent>(&*request)) {
        PanelWindow window(*content, teller);
        // cppcheck-suppress danglingLifetime; // the loop below ends before the window goes
        takeVerdict_ = [&window](const PlaceVerdict& verdict) { window.take(verdict); };
        runLoop();
        return true;
    }
    return false;
}

void Session::tell(const DialogReply& reply) {
    if (isOver_)
        return;
    const auto packet = packetFor(reply);
    const bool isTold = packet && channel_.send(*packet);
    if (!isTold || !std::holds_alternative<PlaceQuestion>(reply))
        isOver_ = true;
}

bool Session::hearVerdict() {
    const auto packet = channel_.receive();
    const auto request = packet ? dialogRequestFrom(*packet) : std::nullopt;
    const auto* verdict = request ? std::get_if<PlaceVerdict>(&*request) : nullptr;
    if (verdict && takeVerdict_)
        takeVerdict_(*verdict);
    else
        isOver_ = true; // the other side closed the dialog, or is no longer itself
    return !isOver_;
}

void Session::runLoop() {
    const auto hear = +[](gint, GIOCondition, gpointer session) -> gboolean {
        return static_cast<Session*>(session)->hearVerdict() ? G_SOURCE_CONTINUE : G_SOURCE_REMOVE;
    };
    g_unix_fd_add(channel_.descriptor(), static_cast<GIOCondition>(G_IO_IN | G_IO_HUP | G_IO_ERR), hear,
                  this);
    while (!isOver_)
        g_main_context_iteration(nullptr, TRUE);
}

} // namespace kitwell::dialog
