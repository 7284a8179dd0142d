#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "KitwellCommon/Export.h"
#include "KitwellCommon/Resources/Version.h"
#include "KitwellCommon/Telemetry/CEPInfo.h"
#include "KitwellPlatform/Values/Value.h"

namespace kitwell {

// The registry of shared resources in the shared preferences: dictionaries under kResourcesKey by bundle
// identifier, in each dictionaries by resource name, in each the resource's values.
inline constexpr char kResourcesKey[] = "Resources";
inline constexpr char kResourcePath[] = "ResourcePath";         // text: absolute path of the shared copy
inline constexpr char kResourceVersion[] = "Version";           // text: the report form
inline constexpr char kResourceNeedToNotify[] = "NeedToNotify"; // boolean

// One record of the registry. It holds nothing but its two names: each read and each write is one complete
// access to the shared preferences under their lock, and must not happen inside another. A value or level
// that is missing or of a wrong type reads as missing; the first write makes what leads to it. A write
// answers whether it is on the disk; the reason why not is logged. Nothing is ever removed but the key that
// is set to nothing. Any thread.
class KITWELL_API SharedResource : public CEPInfoHolder {
public:
    // Of the main bundle.
    explicit SharedResource(std::string_view name);
    SharedResource(std::string_view name, std::string_view bundleId);

    const std::string& name() const { return name_; }

    std::optional<std::string> path() const;
    bool setPath(const std::optional<std::string>& path);
    // Nothing also for a text without exactly four numbers.
    std::optional<Version> version() const;
    bool setVersion(const std::optional<Version>& version);
    bool needToNotifyOnUpdate() const;
    bool setNeedToNotifyOnUpdate(bool needsTo);

    // Null removes the key.
    bool updateValue(platform::Value value, std::string_view key);
    std::optional<platform::Value> getValueForKey(std::string_view key) const;

private:
    std::optional<std::string> textForKey(std::string_view key) const;

    std::string name_;
    std::string bundleId_;
};

} // namespace kitwell
