#pragma once

#include <functional>

#include "KitwellPlatform/Interface/DialogChannel.h"
#include "KitwellPlatform/Interface/DialogMessages.h"

namespace kitwell::dialog {

// Tells the process that asked for the dialog something.
using Teller = std::function<void(const platform::DialogReply&)>;

// The dialog for which this process was started, from the first message to the answer.
class Session {
public:
    explicit Session(platform::DialogChannel channel) : channel_(std::move(channel)) {}

    // Shows what the other side asks for until there is an answer, or nobody is left to hear it. False when
    // it does not ask for a dialog.
    bool run();

private:
    void tell(const platform::DialogReply& reply);
    // Answers whether there is more to come.
    bool hearVerdict();
    void runLoop();

    platform::DialogChannel channel_;
    std::function<void(const platform::PlaceVerdict&)> takeVerdict_;
    bool isOver_ = false;
};

} // namespace kitwell::dialog
