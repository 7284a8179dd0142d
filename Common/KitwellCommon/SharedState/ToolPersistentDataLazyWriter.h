#pragma once

#include "KitwellCommon/SharedState/ToolPersistentDataReader.h"
#include "KitwellPlatform/RunLoop/NotificationCenter.h"

namespace kitwell {

// The running tool's own presentation. Every change is kept in memory, at the cost of an assignment;
// everything is persisted once, when the application terminates. A process that ends in another way persists
// nothing, and what an earlier run persisted stays. Main thread.
class KITWELL_API ToolPersistentDataLazyWriter : public ToolPersistentDataReader {
public:
    // The writer of the main bundle. Permanence and menu text start as they were persisted, the icons as
    // absent.
    ToolPersistentDataLazyWriter();

    bool isPermanent() const override { return entry_.isPermanent; }
    std::optional<std::string> menuText() const override { return entry_.menuText; }
    std::optional<platform::Image> toolIcon() const override { return toolIcon_; }
    std::optional<platform::Image> menuIcon() const override { return menuIcon_; }

    void setIsPermanent(bool isPermanent) { entry_.isPermanent = isPermanent; }
    void setMenuText(std::optional<std::string> text) { entry_.menuText = std::move(text); }
    void setToolIcon(std::optional<platform::Image> icon) { toolIcon_ = std::move(icon); }
    void setMenuIcon(std::optional<platform::Image> icon) { menuIcon_ = std::move(icon); }

    // Persists: the entry, when permanence or menu text differ from what is stored; then, for a permanent
    // tool, each icon that is held, else the removal of both icon files. Failures are ignored. Runs by itself
    // when the application terminates; nobody else calls it.
    void appWillExit();

private:
    void storeEntry() const;
    void writeIcons() const;
    void removeIcons() const;

    Entry entry_;
    std::optional<platform::Image> toolIcon_;
    std::optional<platform::Image> menuIcon_;
    platform::NotificationCenter::Subscription willTerminate_;
};

} // namespace kitwell
