#include "KitwellCommon/SharedState/ToolPersistentDataLazyWriter.h"

#include <array>

#include "KitwellCommon/SharedState/AppGroup.h"
#include "KitwellPlatform/Applications/Application.h"
#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/ExtendedAttributes.h"
#include "KitwellPlatform/Files/FileManager.h"

namespace kitwell {

namespace {

// False when there is no icon, or when it could not be written and the file of an earlier run stays.
bool writeIcon(const std::optional<platform::Image>& icon, const std::string& path) {
    const auto tiff = icon ? icon->tiffRepresentation() : std::nullopt;
    return tiff && platform::replaceFile(path, tiff->bytes());
}

} // namespace

ToolPersistentDataLazyWriter::ToolPersistentDataLazyWriter()
    : ToolPersistentDataReader(platform::Bundle::main().bundleUrl().lastPathComponent(),
                               platform::Bundle::main().identifier()),
      entry_(storedEntry()), willTerminate_(platform::NotificationCenter::defaultCenter().observe(
                                 platform::kApplicationWillTerminateNotification, nullptr,
                                 [this](const platform::Notification&) { appWillExit(); })) {}

void ToolPersistentDataLazyWriter::appWillExit() {
    if (storedEntry() != entry_)
        storeEntry();
    if (entry_.isPermanent)
        writeIcons();
    else
        removeIcons();
}

void ToolPersistentDataLazyWriter::storeEntry() const {
    accessAppGroupPlist([this](platform::UserDefaults& preferences) {
        auto tools = preferences.dictionaryForKey(kToolPersistentData).value_or(platform::Dictionary());
        if (entry_.isPermanent) {
            platform::Dictionary entry{{kToolPermanent, true}};
            if (entry_.menuText)
                entry.set(kMenuText, *entry_.menuText);
            tools.set(entryKey(), std::move(entry));
        } else {
            tools.remove(entryKey());
        }
        preferences.setObjectForKey(std::move(tools), kToolPersistentData);
        preferences.synchronize();
    });
}

// An icon that is absent leaves the file of an earlier run in place. The template attribute follows the file,
// because the atomic write replaces the file and its attributes with it.
void ToolPersistentDataLazyWriter::writeIcons() const {
    writeIcon(toolIcon_, getToolIconPath());
    const std::string path = getMenuIconPath();
    if (writeIcon(menuIcon_, path)) {
        const std::array flag{menuIcon_->isTemplate() ? std::byte{1} : std::byte{0}};
        [[maybe_unused]] const auto ignored = platform::setExtendedAttribute(path, cTemplateXattr, flag);
    }
}

void ToolPersistentDataLazyWriter::removeIcons() const {
    for (const std::string& path : {getToolIconPath(), getMenuIconPath()})
        [[maybe_unused]] const auto ignored = platform::FileManager::removeFile(path);
}

} // namespace kitwell
