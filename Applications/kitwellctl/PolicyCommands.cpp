#include <algorithm>
#include <functional>

#include "Commands.h"
#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "PolicyCheck.h"
#include "QuietLog.h"
#include "Shared/Policy.h"
#include "Shared/Words.h"

namespace kitwell::applications {

namespace {

using platform::Dictionary;
using platform::formatText;
using platform::Value;

Answer showPath(const Call&) {
    const std::string path = KWSPathHelper::filePath();
    return Answer::done(path, {{"path", path}});
}

Value numberOrNothing(const std::optional<platform::JsonPosition>& position,
                      std::size_t platform::JsonPosition::*number) {
    return position ? Value(static_cast<std::uint64_t>((*position).*number)) : Value();
}

Answer check(const Call&) {
    platform::Array rows;
    for (const PolicyFinding& finding : checkPolicy(KWSPathHelper::filePath()))
        rows.emplace_back(
            Dictionary{{"line", numberOrNothing(finding.position, &platform::JsonPosition::line)},
                       {"column", numberOrNothing(finding.position, &platform::JsonPosition::column)},
                       {"finding", finding.text}});
    return Answer::findings(std::move(rows), "no findings");
}

// The reason in words, where there is more to say than a number; empty else.
std::string_view phraseFor(std::int64_t errorCode) {
    switch (errorCode) {
    case KWS_ERR_WRITE_NO_SPACE:
        return "the disk is full";
    case KWS_ERR_WRITE_READ_ONLY:
        return "the volume is read-only";
    case KWS_ERR_WRITE_NO_FILE:
        return "something else than a file, or than a folder above it, stands there";
    case KWS_ERR_WRITE_SYMLINK:
        return "a symlink stands there, which is not followed";
    case KWS_ERR_WRITE_NO_GROUP:
        return "the system has no group of administrators (admin, sudo or wheel)";
    case KWS_ERR_JSON_SIZE:
        return "it would become larger than is read";
    default:
        return "";
    }
}

Answer failure(std::string_view what, std::int64_t errorCode) {
    if (const std::string_view phrase = phraseFor(errorCode); !phrase.empty())
        return Answer::failed(formatText("%@: %@: %@", what, KWSPathHelper::filePath(), phrase));
    switch (errorCode) {
    case KWS_ERR_WRITE_DENIED:
        return Answer::failed(
            formatText("%@: only an administrator may change the policy; run this command as "
                       "root, for example with sudo",
                       what));
    case KWS_ERR_READ_DENIED:
        return Answer::failed(formatText("%@: this user may not read %@", what, KWSPathHelper::filePath()));
    default:
        return Answer::failed(formatText("%@: error %ld of %@", what, errorCode, KWSPathHelper::filePath()));
    }
}

// Of the stored list.
std::string allowedTools() {
    std::string tools;
    for (const std::string& identifier : ToolWhiteList::loadWhiteList().value_or(std::vector<std::string>()))
        tools += (tools.empty() ? "" : ", ") + identifier.substr(kToolIdentifierPrefix.size());
    return tools.empty() ? "no tool is allowed" : "allowed: " + tools;
}

std::string meaningOf(const std::string& key, const KWSAdminStorage& settings) {
    if (key == kKWSUpdatesDisabled)
        return settings.boolForKey(key) ? "the suite is not updated" : "the suite is updated";
    return key == kKWSWhiteToolsListKey ? allowedTools() : "unknown to this version";
}

Answer show(const Call&) {
    const QuietLog quiet;
    std::int64_t errorCode = 0;
    const auto settings = KWSAdminStorage::create(1, errorCode);
    if (!settings && errorCode != KWS_ERR_READ_MISSING)
        return failure("the policy cannot be read; see 'policy check'", errorCode);
    platform::Array rows;
    for (const auto& [key, value] : settings ? settings->currentAsRawData() : Dictionary())
        rows.emplace_back(Dictionary{{"key", key}, {"value", value}, {"meaning", meaningOf(key, *settings)}});
    Answer answer = Answer::list(std::move(rows));
    answer.sentence = "no policy is set";
    return answer;
}

// The catalogue's identifier of a tool that is given by its name or its identifier.
std::optional<std::string> identifierOf(const std::string& tool) {
    std::string found;
    const auto all = ToolWhiteList::fullSet();
    const bool isFound =
        ToolWhiteList::isFoundCaseInsensitveString(tool, all, &found) ||
        ToolWhiteList::isFoundCaseInsensitveString(std::string(kToolIdentifierPrefix) + tool, all, &found);
    return isFound ? std::optional(found) : std::nullopt;
}

// Why a tool of the catalogue may be used, or may not.
std::string_view reasonFor(bool isAllowed) {
    std::int64_t errorCode = 0;
    const auto settings = KWSAdminStorage::create(1, errorCode);
    if (!settings && errorCode != KWS_ERR_READ_MISSING)
        return "the policy cannot be read, so every tool is allowed; see 'policy check'";
    const auto stored = settings ? settings->valueForKey(kKWSWhiteToolsListKey) : std::nullopt;
    if (!stored)
        return "the administrator set no list of tools";
    const platform::Array* list = stored->asArray();
    if (!list)
        return "what the administrator set as the list of tools is no list, so no tool is allowed";
    const Value business(kKWSWhiteToolsList_BusinessToolsetValue);
    if (std::find(list->begin(), list->end(), business) != list->end())
        return isAllowed ? "it is one of the tools for business, which the administrator allows"
                         : "it is none of the tools for business, which alone the administrator allows";
    return isAllowed ? "the administrator's list of tools names it"
                     : "the administrator's list of tools does not name it";
}

Answer explain(const Call& call) {
    const QuietLog quiet;
    const auto identifier = identifierOf(call[0]);
    const bool isAllowed = identifier && !refusalOfTool(call[0], *identifier);
    const std::string reason =
        identifier
            ? formatText("%@ is %@: %@", call[0], isAllowed ? "allowed" : "not allowed", reasonFor(isAllowed))
            : faultOfToolName(call[0]).value_or("");
    return Answer::done(reason, {{"identifier", identifier ? Value(*identifier) : Value()},
                                 {"allowed", isAllowed},
                                 {"reason", reason}});
}

std::ptrdiff_t countOfBackups() {
    const std::string prefix = platform::FileUrl(KWSPathHelper::filePath()).lastPathComponent() + ".backup.";
    const auto names = platform::FileManager::namesInFolder(KWSPathHelper::dirPath());
    return std::count_if(names.begin(), names.end(),
                         [&](const std::string& name) { return name.starts_with(prefix); });
}

// Opens the policy or makes one, lets it be changed, and saves it; then asks what has been done.
Answer change(const std::function<std::string()>& tell, const std::function<void(KWSAdminStorage&)>& edit) {
    std::int64_t errorCode = 0;
    const auto backupsBefore = countOfBackups();
    const auto settings = KWSAdminStorage::create(0, errorCode);
    if (settings) {
        edit(*settings);
        errorCode = settings->saveToDisk();
    }
    if (errorCode != 0)
        return failure("the policy was not changed", errorCode);
    std::string sentence = tell();
    if (countOfBackups() > backupsBefore)
        sentence += "; the former file could not be read and was set aside beside the new one";
    return Answer::done(sentence, {{"path", KWSPathHelper::filePath()}, {"done", sentence}});
}

std::optional<std::string> faultIn(const platform::Array& names) {
    if (names == platform::Array{kKWSWhiteToolsList_BusinessToolsetValue})
        return std::nullopt;
    for (const Value& name : names) {
        auto fault = name.asText()->empty() ? std::nullopt : faultOfToolName(*name.asText());
        if (fault)
            return fault;
    }
    return std::nullopt;
}

Answer setTools(const Call& call) {
    const QuietLog quiet;
    std::optional<platform::Array> names;
    std::int64_t errorCode = 0;
    if (!KWSKeyValueHelper::arrayFromWhiteListString(call[0], &names, &errorCode))
        return Answer::usage(
            formatText("'%@' stands for a list of its own and cannot be one of several names",
                       kKWSWhiteToolsList_BusinessToolsetValue));
    if (auto fault = names ? faultIn(*names) : std::nullopt)
        return Answer::usage(*std::move(fault));
    return change([&] { return names ? allowedTools() : "all tools are allowed"; },
                  [&](KWSAdminStorage& settings) { settings.setValueForKey(names, kKWSWhiteToolsListKey); });
}

Answer clear(const Call&) {
    const QuietLog quiet;
    std::int64_t errorCode = 0;
    if (!KWSAdminStorage::create(1, errorCode) && errorCode == KWS_ERR_READ_MISSING)
        return Answer::done("all tools are allowed already: no policy is set", {});
    return change(
        [] { return "all tools are allowed"; },
        [](KWSAdminStorage& settings) { settings.setValueForKey(std::nullopt, kKWSWhiteToolsListKey); });
}

Answer disableUpdates(const Call& call) {
    const QuietLog quiet;
    const bool isOn = call[0] == "on";
    if (!isOn && call[0] != "off")
        return Answer::usage("on or off, not " + call[0]);
    return change([isOn] { return isOn ? "updates are disabled" : "updates are enabled"; },
                  [isOn](KWSAdminStorage& settings) { settings.setBoolForKey(isOn, kKWSUpdatesDisabled); });
}

constexpr Command kCommands[] = {
    {"policy path", "", "print where the administrator's policy lies", showPath},
    {"policy check", "", "look for mistakes in the policy and in its rights", check},
    {"policy show", "", "list what the policy says, and what that means", show},
    {"policy explain", "TOOL", "tell whether a tool is allowed, and why", explain},
    {"policy set-tools", "LIST", "allow only these tools (names with commas, or business-toolset-only)",
     setTools},
    {"policy clear", "", "allow all tools", clear},
    {"policy disable-updates", "on|off", "turn the suite's updates off, or on", disableUpdates},
};

} // namespace

std::span<const Command> policyCommands() {
    return kCommands;
}

} // namespace kitwell::applications
