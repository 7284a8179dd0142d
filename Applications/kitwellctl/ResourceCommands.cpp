#include <algorithm>
#include <filesystem>
#include <optional>
#include <utility>
#include <vector>

#include "Commands.h"
#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/Workspace.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"

namespace kitwell::applications {

namespace {

using platform::Dictionary;
using platform::Value;

struct Record {
    std::string bundleId;
    std::string name;
    Dictionary values;

    Value value(std::string_view key) const {
        const Value* held = values.find(key);
        return held ? *held : Value();
    }
};

void appendRecords(std::vector<Record>& records, const std::string& bundleId, const Value& resources) {
    if (!resources.asDictionary())
        return;
    for (const auto& [name, values] : *resources.asDictionary()) {
        if (const Dictionary* held = values.asDictionary())
            records.push_back({bundleId, name, *held});
    }
}

std::vector<Record> registry() {
    std::vector<Record> records;
    accessAppGroupPlist([&](platform::UserDefaults& preferences) {
        for (const auto& [bundleId, resources] :
             preferences.dictionaryForKey(kResourcesKey).value_or(Dictionary()))
            appendRecords(records, bundleId, resources);
    });
    return records;
}

Answer listResources(const Call&) {
    platform::Array rows;
    for (const Record& record : registry())
        rows.emplace_back(Dictionary{{"bundle", record.bundleId},
                                     {"name", record.name},
                                     {"version", record.value(kResourceVersion)},
                                     {"notify", record.value(kResourceNeedToNotify).truth()},
                                     {"path", record.value(kResourcePath)}});
    return Answer::list(std::move(rows));
}

// Publishing itself only logs what came of it: a file that has left its place, unless it is the published
// one, and a record that tells of it are what it leaves behind.
Answer publish(const Call& call) {
    const std::string& file = call[0];
    const auto version = VersionManager::versionWithString(call[2]);
    if (!version)
        return Answer::usage("no version of four numbers, as in 4.2.1-3375: " + call[2]);
    if (!platform::FileManager::fileExists(file))
        return Answer::failed("there is no file " + file);
    ResourceManager::addResourceFile(platform::FileUrl(file), call[1], *version,
                                     call.has("executable") ? kResourceTypeExecutable : 0, call[3]);
    const SharedResource record(call[1], call[3]);
    const auto path = record.path();
    std::error_code failure;
    const bool hasMoved = !platform::FileManager::fileExists(file) ||
                          (path && std::filesystem::equivalent(file, *path, failure));
    if (!hasMoved || record.version() != version || !path)
        return Answer::failed(call[1] + " is not published; the log tells why");
    const std::string versionText = VersionManager::versionToStringReportForm(*version);
    return Answer::done(call[1] + " " + versionText + " is published for " + call[3],
                        {{"bundle", call[3]}, {"name", call[1]}, {"version", versionText}, {"path", *path}});
}

std::string_view sentenceFor(ResourceChoiceReason reason) {
    switch (reason) {
    case ResourceChoiceReason::SharedCopyIsNewer:
        return "the shared copy is newer than the application";
    case ResourceChoiceReason::NoSharedVersion:
        return "no shared copy with a version of four numbers is registered";
    case ResourceChoiceReason::SharedCopyIsNotNewer:
        return "the shared copy is not newer than the application";
    case ResourceChoiceReason::SharedCopyIsNotExecutable:
        return "the shared copy is missing or not executable";
    }
    return "";
}

// What the application would choose. One that is not installed is taken for older than any shared copy.
Value choiceOf(const std::string& name, const std::string& bundleId) {
    const auto url = platform::Workspace::urlForBundleIdentifier(bundleId);
    const auto bundle = url ? std::optional<platform::Bundle>(*url) : std::nullopt;
    const auto choice = ResourceManager::choose(name, bundleId, bundle ? &*bundle : nullptr);
    const bool isKnown = choice.isShared() || bundle;
    const std::string addition = bundle ? "" : "; the application is not installed";
    return Dictionary{
        {"bundle", bundleId},
        {"shared", choice.isShared()},
        {"version", isKnown ? Value(VersionManager::versionToStringReportForm(choice.version)) : Value()},
        {"reason", std::string(sentenceFor(choice.reason)) + addition},
        {"path", isKnown ? Value(choice.path) : Value()}};
}

Answer which(const Call& call) {
    platform::Array rows;
    if (call.has("bundle")) {
        rows.push_back(choiceOf(call[0], call.options.at("bundle")));
        return Answer::list(std::move(rows));
    }
    for (const Record& record : registry()) {
        if (record.name == call[0])
            rows.push_back(choiceOf(call[0], record.bundleId));
    }
    if (rows.empty())
        return Answer::failed("no resource is registered as " + call[0] +
                              "; name the application with --bundle");
    return Answer::list(std::move(rows));
}

constexpr Command kCommands[] = {
    {"resources list", "", "list the registry of shared resources", listResources},
    {"resources publish", "FILE NAME VERSION BUNDLE-ID",
     "move a file to where the application finds it in place of its own copy", publish, "--executable"},
    {"resources which", "NAME", "tell which copy an application uses, and why", which, "--bundle=ID"},
};

} // namespace

std::span<const Command> resourceCommands() {
    return kCommands;
}

} // namespace kitwell::applications
