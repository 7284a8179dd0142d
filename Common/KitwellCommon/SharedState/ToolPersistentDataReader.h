#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "KitwellCommon/Export.h"
#include "KitwellCommon/Telemetry/CEPInfo.h"
#include "KitwellPlatform/Images/Image.h"
#include "KitwellPlatform/Values/Value.h"

namespace kitwell {

// The dictionary of all permanent tools in the shared preferences, and the keys of one tool's entry in it.
inline constexpr char kToolPersistentData[] = "ToolPersistentData";
inline constexpr char kToolPermanent[] = "Permanent";
inline constexpr char kMenuText[] = "MenuText";

// The extended attribute of a cached menu icon: one byte, not 0 when the icon is a template.
KITWELL_API extern const char* const cTemplateXattr;

// What one tool left behind for the time when it does not run: an entry in the shared preferences and two
// icon files in the container's icon cache. Holds nothing but the tool's names; every question is answered
// from the preferences (under their lock) or the files. Main thread.
class KITWELL_API ToolPersistentDataReader : public CEPInfoHolder {
public:
    // The bundle's file name with its extension ("Sample.app"), and its bundle identifier.
    ToolPersistentDataReader(std::string toolName, std::string bundleId);
    virtual ~ToolPersistentDataReader() = default;
    ToolPersistentDataReader(const ToolPersistentDataReader&) = delete;
    ToolPersistentDataReader& operator=(const ToolPersistentDataReader&) = delete;

    const std::string& toolName() const { return toolName_; }
    const std::string& toolId() const { return toolId_; }

    // The tool's entry, or nothing.
    std::optional<platform::Dictionary> getToolDataDict() const;
    // False when there is no entry.
    virtual bool isPermanent() const;
    virtual std::optional<std::string> menuText() const;
    // An image that reads its file when it is first looked into; nothing when there is no file.
    virtual std::optional<platform::Image> toolIcon() const;
    // As the tool icon, with the template flag that its file carries.
    virtual std::optional<platform::Image> menuIcon() const;

    // The full path of the icon file of a kind ("Tool", "Menu"). Creates the cache folder; that this failed
    // shows only when the file is used.
    std::string getIconPath(std::string_view kind) const;
    std::string getToolIconPath() const { return getIconPath("Tool"); }
    std::string getMenuIconPath() const { return getIconPath("Menu"); }

protected:
    // What an entry says.
    struct Entry {
        bool isPermanent = false;
        std::optional<std::string> menuText;
        friend bool operator==(const Entry&, const Entry&) = default;
    };
    Entry storedEntry() const;
    // "<bundle identifier>_<bundle file name>"
    std::string entryKey() const;

private:
    std::string toolName_;
    std::string toolId_;
};

} // namespace kitwell
