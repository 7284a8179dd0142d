#include "kitwell-dialog/Verdicts.h"

namespace kitwell::dialog {

using platform::FileUrl;

bool Verdicts::isEnabled(const std::string& path) {
    const auto [entry, isNew] = known_.try_emplace(path, false);
    if (isNew) {
        waiting_.push_back(path);
        if (waiting_.size() == 1)
            askNext();
    }
    return entry->second;
}

void Verdicts::take(const platform::PlaceVerdict& verdict) {
    if (waiting_.empty() || waiting_.front() != verdict.place.path())
        return;
    known_[waiting_.front()] = verdict.isEnabled;
    waiting_.pop_front();
    askNext();
}

void Verdicts::askNext() {
    if (!waiting_.empty())
        ask_(FileUrl(waiting_.front()));
}

} // namespace kitwell::dialog
