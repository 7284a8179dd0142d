#include <functional>

#include "Commands.h"
#include "JsonText.h"
#include "KitwellCommon/KitwellCommon.h"
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

Answer failure(std::string_view what, std::int64_t errorCode) {
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

std::string meaningOf(const std::string& key, const KWSAdminStorage& settings) {
    if (key == kKWSUpdatesDisabled)
        return settings.boolForKey(key) ? "the suite is not updated" : "the suite is updated";
    if (key != kKWSWhiteToolsListKey)
        return "unknown to this version";
    std::string tools;
    for (const std::string& identifier : ToolWhiteList::loadWhiteList().value_or(std::vector<std::string>()))
        tools +=
            (tools.empty() ? "" : ", ") + identifier.substr(formatText(kToolIdentifierFormat, "").size());
    return tools.empty() ? "no tool is allowed" : "allowed: " + tools;
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
        ToolWhiteList::isFoundCaseInsensitveString(formatText(kToolIdentifierFormat, tool), all, &found);
    return isFound ? std::optional(found) : std::nullopt;
}

Answer explain(const Call& call) {
    const QuietLog quiet;
    const auto identifier = identifierOf(call[0]);
    auto refusal = identifier ? refusalOfTool(call[0], *identifier) : faultOfToolName(call[0]);
    const std::string reason =
        refusal ? *refusal
                : formatText(ToolWhiteList::sharedInstance()->whiteList()
                                 ? "%@ is allowed: the administrator's list of tools names it"
                                 : "%@ is allowed: the administrator set no list of tools",
                             call[0]);
    return Answer::done(reason, {{"identifier", identifier ? Value(*identifier) : Value()},
                                 {"allowed", !refusal},
                                 {"reason", reason}});
}

// Opens the policy or makes one, lets it be changed, and saves it.
Answer change(std::string sentence, const std::function<void(KWSAdminStorage&)>& edit) {
    std::int64_t errorCode = 0;
    const bool isSetAside = !KWSAdminStorage::create(1, errorCode) && errorCode != KWS_ERR_READ_MISSING;
    const auto settings = KWSAdminStorage::create(0, errorCode);
    if (settings) {
        edit(*settings);
        errorCode = settings->saveToDisk();
    }
    if (errorCode != 0)
        return failure("the policy was not changed", errorCode);
    if (isSetAside)
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
    return change(names ? "only these tools are allowed: " + call[0] : "all tools are allowed",
                  [&](KWSAdminStorage& settings) { settings.setValueForKey(names, kKWSWhiteToolsListKey); });
}

Answer clear(const Call&) {
    const QuietLog quiet;
    std::int64_t errorCode = 0;
    if (!KWSAdminStorage::create(1, errorCode) && errorCode == KWS_ERR_READ_MISSING)
        return Answer::done("all tools are allowed already: no policy is set", {});
    return change("all tools are allowed", [](KWSAdminStorage& settings) {
        settings.setValueForKey(std::nullopt, kKWSWhiteToolsListKey);
    });
}

Answer disableUpdates(const Call& call) {
    const QuietLog quiet;
    const bool isOn = call[0] == "on";
    if (!isOn && call[0] != "off")
        return Answer::usage("on or off, not " + call[0]);
    return change(isOn ? "updates are disabled" : "updates are enabled",
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
