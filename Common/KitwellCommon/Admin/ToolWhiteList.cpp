#include "KitwellCommon/Admin/ToolWhiteList.h"

#include <algorithm>
#include <iterator>

#include "KitwellCommon/Admin/KWSAdminStorage.h"
#include "KitwellCommon/Admin/ToolCatalogue.h"
#include "KitwellCommon/Logging/KWLog.h"

namespace kitwell {

using platform::Value;

namespace {

std::shared_ptr<const ToolWhiteList>& shared() {
    static std::shared_ptr<const ToolWhiteList> instance;
    return instance;
}

bool isFound(std::string_view text, const std::vector<std::string>& array) {
    return std::find(array.begin(), array.end(), text) != array.end();
}

char lowerCase(char letter) {
    return letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter - 'A' + 'a') : letter;
}

bool isSameWithoutCase(std::string_view left, std::string_view right) {
    return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                      [](char one, char other) { return lowerCase(one) == lowerCase(other); });
}

std::vector<std::string> resolve(const platform::Array& names) {
    const std::vector<std::string> catalogue = ToolWhiteList::fullSet();
    std::vector<std::string> list;
    for (const Value& stored : names) {
        const std::string* name = stored.asText();
        std::string identifier;
        if (!name)
            KWLogVariadic("Wrong element in white-list, which is not a text. Will be ignored");
        else if (ToolWhiteList::isFoundCaseInsensitveString(std::string(kToolIdentifierPrefix) + *name,
                                                            catalogue, &identifier))
            list.push_back(std::move(identifier));
        else if (KWIsExtendedLoggingOn())
            KWLogVariadic("Wrong toolname in white-list - '%@'. Will be ignored", *name);
    }
    return list;
}

} // namespace

std::shared_ptr<const ToolWhiteList> ToolWhiteList::createSharedInstance() {
    auto instance = std::make_shared<const ToolWhiteList>(ToolWhiteList(loadWhiteList()));
    instance->traceForbiddenTools();
    shared() = instance;
    return instance;
}

std::shared_ptr<const ToolWhiteList> ToolWhiteList::sharedInstance() {
    return shared();
}

bool ToolWhiteList::isToolAllowedWithBundleId(std::string_view bundleId) const {
    const auto catalogue = toolCatalogue();
    return std::find(catalogue.begin(), catalogue.end(), bundleId) != catalogue.end() &&
           (!whiteList_ || isFound(bundleId, *whiteList_));
}

void ToolWhiteList::traceForbiddenTools() const {
    if (!whiteList_)
        return;
    std::string forbidden;
    for (const std::string_view tool : toolCatalogue()) {
        if (!isFound(tool, *whiteList_))
            forbidden += (forbidden.empty() ? "" : ", ") + std::string(tool);
    }
    KWLogVariadic("The next tools are forbidden due to white-list settings: %@", "(" + forbidden + ")");
}

std::optional<std::vector<std::string>> ToolWhiteList::loadWhiteList() {
    std::int64_t errorCode = 0;
    const auto settings = KWSAdminStorage::create(1, errorCode);
    const auto stored = settings ? settings->valueForKey(kKWSWhiteToolsListKey) : std::nullopt;
    if (!stored)
        return std::nullopt;
    const platform::Array* names = stored->asArray();
    if (!names) {
        KWLogVariadic("Wrong white-list, which is not an array of toolnames. No tool is allowed");
        return std::vector<std::string>();
    }
    if (std::find(names->begin(), names->end(), Value(kKWSWhiteToolsList_BusinessToolsetValue)) !=
        names->end())
        return businessPredefinedSet();
    return resolve(*names);
}

std::vector<std::string> ToolWhiteList::fullSet() {
    const auto catalogue = toolCatalogue();
    return {catalogue.begin(), catalogue.end()};
}

std::vector<std::string> ToolWhiteList::businessPredefinedSet() {
    const auto excluded = toolsWithoutBusinessUse();
    const std::vector<std::string> exclusions(excluded.begin(), excluded.end());
    std::vector<std::string> set = fullSet();
    std::erase_if(set,
                  [&](const std::string& tool) { return isFoundCaseInsensitveString(tool, exclusions); });
    return set;
}

bool ToolWhiteList::isFoundCaseInsensitveString(std::string_view text, const std::vector<std::string>& array,
                                                std::string* foundObject) {
    const auto found = std::find_if(array.begin(), array.end(), [text](const std::string& element) {
        return isSameWithoutCase(text, element);
    });
    if (found == array.end())
        return false;
    if (foundObject)
        *foundObject = *found;
    return true;
}

} // namespace kitwell
