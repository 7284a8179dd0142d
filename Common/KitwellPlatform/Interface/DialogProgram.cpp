#include "KitwellPlatform/Interface/DialogProgram.h"

#include <optional>

#include "KitwellPlatform/Applications/LaunchedPrograms.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Interface/DialogChannel.h"
#include "KitwellPlatform/Logging/Log.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"

namespace kitwell::platform {

namespace {

// Hears the program until it has answered. When this goes, the channel closes, and with it the program's
// window.
class Conversation {
public:
    // Without a panel there is nothing to ask about: a question is out of place.
    Conversation(DialogChannel channel, const OpenPanelContent* panel)
        : channel_(std::move(channel)), panel_(panel) {
        source_ = RunLoop::current().watch(channel_.descriptor(), RunLoop::Interest::Readable,
                                           RunLoopModes::Common, [this](RunLoop::Events) { hear(); });
    }

    // The answer; nothing when the program failed or the loop was stopped.
    std::optional<DialogReply> waitForAnswer() {
        RunLoop& loop = RunLoop::current();
        while (source_ && !loop.isStopped())
            loop.runOnce(RunLoop::Duration::max(), RunLoopMode::Modal);
        return answer_;
    }

private:
    void hear() {
        const auto packet = channel_.receive();
        const auto reply = packet ? dialogReplyFrom(*packet) : std::nullopt;
        const auto* question = reply ? std::get_if<PlaceQuestion>(&*reply) : nullptr;
        if (question && panel_ && isTold(question->place))
            return;
        if (reply && !question)
            answer_ = reply;
        else
            writeLogLine("The program that shows a dialog ended or failed: the dialog counts as cancelled");
        source_.end();
    }

    bool isTold(const FileUrl& place) {
        const auto verdict = packetFor(PlaceVerdict{place, panel_->allows(place)});
        return verdict && channel_.send(*verdict);
    }

    DialogChannel channel_;
    const OpenPanelContent* panel_;
    std::optional<DialogReply> answer_;
    RunLoop::Source source_;
};

// Starts the program with one end of a channel as its standard input, and answers the other end.
std::optional<DialogChannel> startProgram(const std::string& executable, const DialogRequest& request) {
    const auto packet = packetFor(request);
    auto ends = DialogChannel::makePair();
    if (!packet || !ends || !ends->first.send(*packet)) {
        writeLogLine("A dialog's content cannot be handed over: the dialog counts as cancelled");
        return std::nullopt;
    }
    const auto started = LaunchedPrograms::shared().start(executable, {}, ends->second.descriptor());
    if (!started) {
        writeLogLine("A dialog counts as cancelled: " + started.error().description);
        return std::nullopt;
    }
    return std::move(ends->first);
}

std::optional<DialogReply> answerTo(const DialogRequest& request, const std::string& executable,
                                    const OpenPanelContent* panel = nullptr) {
    if (RunLoop::current().isStopped())
        return std::nullopt;
    auto channel = startProgram(executable, request);
    return channel ? Conversation(std::move(*channel), panel).waitForAnswer() : std::nullopt;
}

// What the program answered when that is an answer of the kind that was asked for.
template <class Answer>
const Answer* get(const std::optional<DialogReply>& reply) {
    return reply ? std::get_if<Answer>(&*reply) : nullptr;
}

} // namespace

std::optional<std::size_t> DialogProgram::showAlert(const AlertContent& content) {
    const auto reply = answerTo(content, executable_);
    const auto* press = get<ButtonPress>(reply);
    return press && press->index < content.buttons.size() ? std::optional(press->index) : std::nullopt;
}

std::optional<FileUrl> DialogProgram::showOpenPanel(const OpenPanelContent& content) {
    OpenPanelContent panel = content;
    if (panel.folder.path().empty())
        panel.folder = FileUrl(SearchPaths::home());
    const auto reply = answerTo(panel, executable_, &panel);
    // The rule has the last word: the place may have changed since the program asked about it.
    const auto* choice = get<PlaceChoice>(reply);
    return choice && panel.allows(choice->place) ? std::optional(choice->place) : std::nullopt;
}

} // namespace kitwell::platform
