#include "KitwellCommon/SharedState/SchedulerStore.h"

#include <algorithm>
#include <string>

#include "KitwellCommon/SharedState/AppGroup.h"
#include "KitwellPlatform/Applications/Bundle.h"

namespace kitwell {

using platform::Array;
using platform::Dictionary;
using platform::Value;

namespace {

bool holdsText(const Dictionary& entry, std::string_view key, std::string_view text) {
    const std::string* held = entry.findText(key);
    return held && *held == text;
}

// What is no dictionary, or lacks one of the two names, matches nobody.
Array::const_iterator findEntry(const Array& entries, std::string_view bundleId, std::string_view name) {
    return std::find_if(entries.begin(), entries.end(), [&](const Value& value) {
        const Dictionary* entry = value.asDictionary();
        return entry && holdsText(*entry, kScheduleBundleId, bundleId) &&
               holdsText(*entry, kScheduleName, name);
    });
}

// Takes the tool's entry, and every entry that is equal to it, out of the list; an empty one when there is
// none.
Dictionary takeEntry(Array& entries, std::string_view bundleId, std::string_view name) {
    const auto found = findEntry(entries, bundleId, name);
    if (found == entries.end())
        return {};
    const auto place = entries.begin() + (found - entries.cbegin());
    Value taken = std::move(*place);
    entries.erase(place);
    std::erase(entries, taken);
    return std::move(*taken.asDictionary());
}

} // namespace

void readSchedulerPlist(std::string_view bundleId, std::string_view name,
                        const std::function<void(const Dictionary&)>& callback) {
    accessAppGroupPlist([&](platform::UserDefaults& preferences) {
        const Array entries = preferences.arrayForKey(kSchedulerKey).value_or(Array());
        const auto found = findEntry(entries, bundleId, name);
        if (found != entries.end())
            callback(*found->asDictionary());
    });
}

void updateSchedulerPlist(std::string_view bundleId, std::string_view name,
                          const std::function<void(Dictionary&)>& callback) {
    accessAppGroupPlist([&](platform::UserDefaults& preferences) {
        Array entries = preferences.arrayForKey(kSchedulerKey).value_or(Array());
        Dictionary entry = takeEntry(entries, bundleId, name);
        entry.set(kScheduleBundleId, bundleId);
        entry.set(kScheduleName, name);
        callback(entry);
        entries.emplace_back(std::move(entry));
        preferences.setObjectForKey(std::move(entries), kSchedulerKey);
        preferences.synchronize();
    });
}

void updateSchedulerForThisTool(const std::function<void(Dictionary&)>& callback) {
    const platform::Bundle& bundle = platform::Bundle::main();
    updateSchedulerPlist(bundle.identifier(), bundle.bundleUrl().deletingPathExtension().lastPathComponent(),
                         callback);
}

} // namespace kitwell
