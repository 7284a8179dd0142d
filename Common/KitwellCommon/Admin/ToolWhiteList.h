#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "KitwellCommon/Export.h"
#include "KitwellCommon/Telemetry/CEPInfo.h"

namespace kitwell {

// Which of the suite's tools may be used on this machine: those of the catalogue, and of these only the ones
// that the administrator's white list names, if there is one.
//
// A stored list that is an array is read as far as it goes: an element that is no text is dropped with a log
// line. A stored value of any other type, null among them, allows no tool: an administrator meant to
// restrict.
//
// The list is read when an instance is made and never changes afterwards: any thread may ask it. Making one
// is for the main thread.
class KITWELL_API ToolWhiteList : public CEPInfoHolder {
public:
    // Reads the list, logs which tools it forbids, and takes the place of the shared instance so far, which
    // those who hold it may go on asking.
    static std::shared_ptr<const ToolWhiteList> createSharedInstance();
    // Null before the first was made.
    static std::shared_ptr<const ToolWhiteList> sharedInstance();

    // The resolved list: nothing means no restriction, an empty one that no tool is allowed.
    const std::optional<std::vector<std::string>>& whiteList() const { return whiteList_; }
    // Upper and lower case matter: a tool names itself as the catalogue does.
    bool isToolAllowedWithBundleId(std::string_view bundleId) const;
    // The same for anything that has a bundle identifier: a bundle, a running application, a proxy of a tool.
    template <class Application>
    bool isToolAllowed(const Application& application) const;
    // One log line with the forbidden tools; none without a white list.
    void traceForbiddenTools() const;

    // Reads the settings file and resolves its list.
    static std::optional<std::vector<std::string>> loadWhiteList();
    static std::vector<std::string> fullSet();
    // The catalogue without the tools that have no use in business, in its order.
    static std::vector<std::string> businessPredefinedSet();
    // The first element that equals the text, upper and lower case of ASCII letters alike, goes to
    // `foundObject` if that is given, which else stays as it is.
    static bool isFoundCaseInsensitveString(std::string_view text, const std::vector<std::string>& array,
                                            std::string* foundObject = nullptr);

private:
    explicit ToolWhiteList(std::optional<std::vector<std::string>> whiteList)
        : whiteList_(std::move(whiteList)) {}

    std::optional<std::vector<std::string>> whiteList_;
};

template <class Application>
bool ToolWhiteList::isToolAllowed(const Application& application) const {
    if constexpr (requires { application.identifier(); })
        return isToolAllowedWithBundleId(application.identifier());
    // cppcheck-suppress identicalConditionAfterEarlyExit
    else if constexpr (requires { application.bundleId(); })
        return isToolAllowedWithBundleId(application.bundleId());
    else
        return isToolAllowedWithBundleId(application.bundleIdentifier);
}

} // namespace kitwell
