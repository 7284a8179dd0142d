#include "KitwellCommon/SharedState/AppGroup.h"

#include <cassert>
#include <optional>

#include "KitwellPlatform/Files/LockedFile.h"
#include "KitwellPlatform/Files/SearchPaths.h"

namespace kitwell {

namespace {

std::optional<platform::LockedFile> lockContainer() {
    const auto container = platform::SearchPaths::groupContainer(kAppGroupIdentifier);
    if (!container)
        return std::nullopt;
    auto lock = platform::LockedFile::lockFolder(*container);
    return lock ? std::optional(*std::move(lock)) : std::nullopt;
}

// Finds a callback that comes back here, where it would wait for itself forever.
class ReentryCheck {
public:
    ReentryCheck() {
        assert(!isInside_ && "accessAppGroupPlist is not re-entrant");
        isInside_ = true;
    }
    ~ReentryCheck() { isInside_ = false; }
    ReentryCheck(const ReentryCheck&) = delete;
    ReentryCheck& operator=(const ReentryCheck&) = delete;

private:
    static thread_local bool isInside_;
};

thread_local bool ReentryCheck::isInside_ = false;

} // namespace

void accessAppGroupPlist(const std::function<void(platform::UserDefaults&)>& callback) {
    const ReentryCheck check;
    std::optional<platform::LockedFile> lock = lockContainer();
    platform::UserDefaults preferences(kAppGroupIdentifier);
    if (callback)
        callback(preferences);
    lock.reset(); // before the preferences object goes: what it lets go of is not others' waiting time
}

void assertAppInAppGroup() {}

} // namespace kitwell
