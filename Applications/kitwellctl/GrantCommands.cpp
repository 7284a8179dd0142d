#include "Commands.h"
#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Files/Bookmark.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"

namespace kitwell::applications {

namespace {

using platform::Value;

// A folder that is gone, or data that is no bookmark, has no path.
Value pathOf(const Value& bookmark) {
    const platform::Data* data = bookmark.asData();
    const auto url = data ? platform::resolveBookmark(*data) : std::nullopt;
    return url ? Value(url->path()) : Value();
}

Answer listGrants(const Call&) {
    const auto preferences = platform::UserDefaults::forApplication(kAgentBundleIdentifier);
    platform::Array rows;
    for (const Value& bookmark :
         preferences.arrayForKey(kToolDataProviderSandboxBookmarks).value_or(platform::Array()))
        rows.emplace_back(platform::Dictionary{{"path", pathOf(bookmark)}});
    return Answer::list(std::move(rows));
}

constexpr Command kCommands[] = {
    {"grants list", "", "list the folders that the user opened to tools", listGrants},
};

} // namespace

std::span<const Command> grantCommands() {
    return kCommands;
}

} // namespace kitwell::applications
