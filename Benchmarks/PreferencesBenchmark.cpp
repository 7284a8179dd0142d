// A durable read-modify-write of one key of a suite's preferences beside the same steps made by hand.

#include <string>

#include "KitwellPlatform/Files/LockedFile.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "Support/Comparison.h"
#include "Support/Partner.h"
#include "Support/StoreOnDisk.h"

namespace {

using namespace kitwell::platform;
using namespace kitwell::benchmarks;

constexpr char kSuite[] = "group.benchmark";
constexpr char kKey[] = "tool 20";

// Forty tools with some 250 bytes each.
Dictionary domain() {
    Dictionary domain;
    for (int tool = 0; tool < 40; ++tool) {
        const std::string name = "tool " + std::to_string(tool);
        domain.set(name, Dictionary{{"count", tool},
                                    {"last run", Date{700000000.5 + tool}},
                                    {"title", std::string(150, 'a') + name},
                                    {"recent",
                                     Array{name + " first", name + " second", name + " third", tool * 0.1}}});
    }
    return domain;
}

Dictionary changed(Dictionary tool) {
    const Value* count = tool.find("count");
    if (!count || !count->asSigned())
        fail("the count is gone");
    tool.set("count", *count->asSigned() + 1);
    return tool;
}

void changeByHand(Dictionary& content) {
    content.set(kKey, changed(*content.find(kKey)->asDictionary()));
}

void updateOurs(const std::string& container) {
    const auto lock = LockedFile::lockFolder(container);
    UserDefaults defaults(kSuite);
    auto tool = defaults.dictionaryForKey(kKey);
    if (!lock || !tool)
        fail("cannot read our domain");
    defaults.setObjectForKey(changed(*std::move(tool)), kKey);
    if (!defaults.synchronize())
        fail("cannot write our domain");
}

} // namespace

int main() {
    const StoreOnDisk store(kSuite, domain());
    printHeading("Preferences");
    return store.compareUpdates("locked read-modify-write of one key in a 10 KB domain", changeByHand,
                                [&] { updateOurs(store.container()); })
               ? 0
               : 1;
}
