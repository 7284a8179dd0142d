#pragma once

#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "KitwellPlatform/Interface/DialogMessages.h"

namespace kitwell::dialog {

// What is known about the places that may be chosen. A place is asked about when it is first looked at, one
// at a time; the others wait for their turn.
class Verdicts {
public:
    using Ask = std::function<void(const platform::FileUrl&)>;
    explicit Verdicts(Ask ask) : ask_(std::move(ask)) {}

    // False while the verdict is awaited too.
    bool isEnabled(const std::string& path);
    void take(const platform::PlaceVerdict& verdict);
    // What has been seen may have changed: it will be asked about again.
    void forget() { known_.clear(); }

private:
    void askNext();

    Ask ask_;
    std::map<std::string, bool> known_; // false for those that are waiting
    std::deque<std::string> waiting_;   // the first one has been asked about
};

} // namespace kitwell::dialog
