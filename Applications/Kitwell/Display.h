#pragma once

#include <map>
#include <string>
#include <string_view>

#include "KitwellPlatform/RunLoop/NotificationCenter.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"
#include "QueuedOutput.h"
#include "ToolList.h"
#include "ToolRow.h"

namespace kitwell::applications {

// Shows the tools on standard output: a live table on a terminal, and one line for each change where it is
// none. Changes that arrive together are shown together, and so are those that came while the output was not
// read; the loop never waits for its reader.
class Display {
public:
    explicit Display(const ToolList& tools);
    ~Display();
    Display(const Display&) = delete;
    Display& operator=(const Display&) = delete;

    // An answer to a command: a line of its own, on a terminal the line below the table.
    void say(std::string_view answer);

private:
    void showSoon();
    void show();
    bool mayShow();
    void showTable();
    void showChangedLines();

    const ToolList& tools_;
    bool isTerminal_;
    bool isStale_ = false; // something changed while the output was not read
    QueuedOutput output_;
    std::string answer_;
    bool isAnswerNew_ = true;
    std::size_t rowsShown_ = 0;
    std::map<const ToolDataAgentProvider*, ToolRow> shown_;
    platform::NotificationCenter::Subscription changes_;
    platform::Timer pending_;
};

} // namespace kitwell::applications
