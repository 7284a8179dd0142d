#include "KitwellCommon/SharedState/AppGroup.h"

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

} // namespace

void accessAppGroupPlist(const std::function<void(platform::UserDefaults&)>& callback) {
    std::optional<platform::LockedFile> lock = lockContainer();
    platform::UserDefaults preferences(kAppGroupIdentifier);
    if (callback)
        callback(preferences);
    lock.reset(); // before the preferences object goes: what it lets go of is not others' waiting time
}

void assertAppInAppGroup() {}

} // namespace kitwell
