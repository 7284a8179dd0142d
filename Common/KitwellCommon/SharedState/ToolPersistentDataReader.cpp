#include "KitwellCommon/SharedState/ToolPersistentDataReader.h"

#include <algorithm>
#include <utility>

#include "KitwellCommon/SharedState/AppGroup.h"
#include "KitwellPlatform/Files/ExtendedAttributes.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Values/Text.h"

namespace kitwell {

const char* const cTemplateXattr = "NSImage.isTemplate";

namespace {

constexpr std::string_view kIconCacheFolder = "Library/Caches/Icons";

// A missing file and an unreadable one are no icon.
std::optional<platform::Image> imageReferencing(const std::string& path) {
    platform::Image image = platform::Image::byReferencingTiffFile(path);
    return image.representations().empty() ? std::nullopt : std::optional(std::move(image));
}

} // namespace

ToolPersistentDataReader::ToolPersistentDataReader(std::string toolName, std::string bundleId)
    : toolName_(std::move(toolName)), toolId_(std::move(bundleId)) {}

std::string ToolPersistentDataReader::entryKey() const {
    return platform::formatText("%@_%@", toolId_, toolName_);
}

std::optional<platform::Dictionary> ToolPersistentDataReader::getToolDataDict() const {
    std::optional<platform::Dictionary> entry;
    accessAppGroupPlist([&](platform::UserDefaults& preferences) {
        const auto tools = preferences.dictionaryForKey(kToolPersistentData);
        const platform::Value* held = tools ? tools->find(entryKey()) : nullptr;
        if (const platform::Dictionary* found = held ? held->asDictionary() : nullptr)
            entry = *found;
    });
    return entry;
}

ToolPersistentDataReader::Entry ToolPersistentDataReader::storedEntry() const {
    const platform::Dictionary entry = getToolDataDict().value_or(platform::Dictionary());
    const platform::Value* permanent = entry.find(kToolPermanent);
    const std::string* text = entry.findText(kMenuText);
    return {permanent && permanent->truth(), text ? std::optional(*text) : std::nullopt};
}

bool ToolPersistentDataReader::isPermanent() const {
    return storedEntry().isPermanent;
}

std::optional<std::string> ToolPersistentDataReader::menuText() const {
    return storedEntry().menuText;
}

std::optional<platform::Image> ToolPersistentDataReader::toolIcon() const {
    return imageReferencing(getToolIconPath());
}

std::optional<platform::Image> ToolPersistentDataReader::menuIcon() const {
    const std::string path = getMenuIconPath();
    auto icon = imageReferencing(path);
    if (icon) {
        const auto flag = platform::extendedAttribute(path, cTemplateXattr, 1);
        icon->setTemplate(flag && !flag->empty() && flag->front() != std::byte{0});
    }
    return icon;
}

std::string ToolPersistentDataReader::getIconPath(std::string_view kind) const {
    // A name from a hostile bundle must not lead out of the cache folder.
    std::string file = platform::formatText("%@_%@_%@.tiff", kind, toolName_, toolId_);
    std::replace(file.begin(), file.end(), '/', ':');
    const auto container = platform::SearchPaths::groupContainer(kAppGroupIdentifier);
    if (!container)
        return {};
    const std::string folder = platform::formatText("%@/%@", *container, kIconCacheFolder);
    [[maybe_unused]] const auto ignored = platform::FileManager::createFolder(folder);
    return folder + "/" + file;
}

} // namespace kitwell
