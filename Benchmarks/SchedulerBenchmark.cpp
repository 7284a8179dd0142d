// One locked change of the store of launch schedules beside the same steps made by hand.

#include <algorithm>
#include <string>

#include "KitwellCommon/SharedState/AppGroup.h"
#include "KitwellCommon/SharedState/SchedulerStore.h"
#include "Support/Comparison.h"
#include "Support/Partner.h"
#include "Support/StoreOnDisk.h"

namespace {

using namespace kitwell;
using namespace kitwell::platform;
using namespace kitwell::benchmarks;

constexpr int kTools = 40;
constexpr double kFirstLaunch = 700000000;

std::string nameOf(int tool) {
    return "tool " + std::to_string(tool);
}

// Long enough for the store to have 10 KB.
std::string bundleIdOf(int tool) {
    return "com.corvalen.kitwell." + std::string(150, 'a') + std::to_string(tool);
}

Dictionary store() {
    Array entries;
    for (int tool = 0; tool < kTools; ++tool)
        entries.emplace_back(Dictionary{{kScheduleBundleId, bundleIdOf(tool)},
                                        {kScheduleName, nameOf(tool)},
                                        {kScheduleAtLogin, tool % 2 == 0},
                                        {kScheduleAtDate, true},
                                        {kScheduleDate, Date{kFirstLaunch + tool}},
                                        {kScheduleInterval, 3600.5 + tool}});
    return Dictionary{{kSchedulerKey, std::move(entries)}};
}

void postpone(Dictionary& entry) {
    const Value* date = entry.find(kScheduleDate);
    if (!date || !date->asDate())
        fail("the date is gone");
    entry.set(kScheduleDate, date->asDate()->adding(60));
}

bool isOf(const Value& entry, const std::string& bundleId, const std::string& name) {
    const Dictionary& content = *entry.asDictionary();
    return *content.find(kScheduleBundleId)->asText() == bundleId &&
           *content.find(kScheduleName)->asText() == name;
}

// What is updated moves to the end.
void changeByHand(Dictionary& content, int tool) {
    Array& entries = *content.find(kSchedulerKey)->asArray();
    const std::string bundleId = bundleIdOf(tool);
    const std::string name = nameOf(tool);
    const auto found = std::find_if(entries.begin(), entries.end(),
                                    [&](const Value& entry) { return isOf(entry, bundleId, name); });
    if (found == entries.end())
        fail("the tool's entry is gone");
    postpone(*found->asDictionary());
    std::rotate(found, found + 1, entries.end());
}

} // namespace

int main() {
    const StoreOnDisk disk(kAppGroupIdentifier, store());
    int byHand = 0;
    int ours = 0;
    printHeading("Scheduler");
    const bool kept = disk.compareUpdates(
        "locked schedule update of one of 40 entries in 10 KB",
        [&](Dictionary& content) { changeByHand(content, byHand++ % kTools); },
        [&] {
            const int tool = ours++ % kTools;
            updateSchedulerPlist(bundleIdOf(tool), nameOf(tool), postpone);
        });
    return kept ? 0 : 1;
}
