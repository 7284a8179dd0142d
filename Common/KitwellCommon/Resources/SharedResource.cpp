#include "KitwellCommon/Resources/SharedResource.h"

#include <utility>

#include "KitwellCommon/Resources/VersionManager.h"
#include "KitwellCommon/SharedState/AppGroup.h"
#include "KitwellPlatform/Applications/Bundle.h"

namespace kitwell {

using platform::Dictionary;
using platform::UserDefaults;
using platform::Value;

namespace {

// In its place; an empty one takes the place of what is missing or no dictionary.
Dictionary& makeLevel(Dictionary& above, std::string_view key) {
    const Value* held = std::as_const(above).find(key);
    if (!held || !held->asDictionary())
        above.set(key, Dictionary());
    return *above.find(key)->asDictionary();
}

const Dictionary* findLevel(const Dictionary* above, std::string_view key) {
    const Value* held = above ? above->find(key) : nullptr;
    return held ? held->asDictionary() : nullptr;
}

template <class Held>
Value valueOrNull(const std::optional<Held>& held) {
    return held ? Value(*held) : Value();
}

} // namespace

SharedResource::SharedResource(std::string_view name)
    : SharedResource(name, platform::Bundle::main().identifier()) {}

SharedResource::SharedResource(std::string_view name, std::string_view bundleId)
    : name_(name), bundleId_(bundleId) {}

std::optional<std::string> SharedResource::path() const {
    return textForKey(kResourcePath);
}

bool SharedResource::setPath(const std::optional<std::string>& path) {
    return updateValue(valueOrNull(path), kResourcePath);
}

std::optional<Version> SharedResource::version() const {
    return VersionManager::versionWithString(textForKey(kResourceVersion));
}

bool SharedResource::setVersion(const std::optional<Version>& version) {
    return updateValue(version ? Value(VersionManager::versionToStringReportForm(*version)) : Value(),
                       kResourceVersion);
}

bool SharedResource::needToNotifyOnUpdate() const {
    return getValueForKey(kResourceNeedToNotify).value_or(false).truth();
}

bool SharedResource::setNeedToNotifyOnUpdate(bool needsTo) {
    return updateValue(needsTo, kResourceNeedToNotify);
}

bool SharedResource::updateValue(Value value, std::string_view key) {
    bool isOnDisk = false;
    accessAppGroupPlist([&](UserDefaults& preferences) {
        Dictionary bundles = preferences.dictionaryForKey(kResourcesKey).value_or(Dictionary());
        Dictionary& values = makeLevel(makeLevel(bundles, bundleId_), name_);
        if (value.isNull())
            values.remove(key);
        else
            values.set(key, std::move(value));
        isOnDisk =
            preferences.setObjectForKey(std::move(bundles), kResourcesKey) && preferences.synchronize();
    });
    return isOnDisk;
}

std::optional<Value> SharedResource::getValueForKey(std::string_view key) const {
    std::optional<Value> value;
    accessAppGroupPlist([&](UserDefaults& preferences) {
        const auto bundles = preferences.dictionaryForKey(kResourcesKey);
        const Dictionary* resources = findLevel(bundles ? &*bundles : nullptr, bundleId_);
        const Dictionary* values = findLevel(resources, name_);
        if (const Value* held = values ? values->find(key) : nullptr)
            value = *held;
    });
    return value;
}

std::optional<std::string> SharedResource::textForKey(std::string_view key) const {
    const auto value = getValueForKey(key);
    const std::string* text = value ? value->asText() : nullptr;
    return text ? std::optional(*text) : std::nullopt;
}

} // namespace kitwell
