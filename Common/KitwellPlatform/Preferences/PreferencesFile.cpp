#include "KitwellPlatform/Preferences/PreferencesFile.h"

#include <cerrno>
#include <cstdio>

#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileAccess.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Logging/Log.h"
#include "KitwellPlatform/Values/PropertyList.h"

namespace kitwell::platform {

namespace {

bool isMissing(const Error& error) {
    return error.domain == kSystemErrorDomain && error.code == ENOENT;
}

void logFault(std::string_view doing, const Error& error) {
    writeLogLine("preferences: cannot " + std::string(doing) + ": " + error.description);
}

} // namespace

std::optional<LockedFile> PreferencesFile::lock() const {
    if (path_.empty())
        return std::nullopt;
    const std::string lockPath = path_ + ".lock";
    auto lock = LockedFile::lockFile(lockPath);
    if (!lock && isMissing(lock.error()) && FileManager::createFolder(folderOf(path_)))
        lock = LockedFile::lockFile(lockPath);
    if (lock)
        return *std::move(lock);
    logFault("take a domain's lock", lock.error());
    return std::nullopt;
}

bool PreferencesFile::refresh() {
    const Reading reading = read();
    if (reading != Reading::Damaged)
        return reading == Reading::Done;
    // Between that look and the lock a sound file may have come in its place: only the holder decides.
    const auto locked = lock();
    return locked && refreshLocked();
}

bool PreferencesFile::refreshLocked() {
    const Reading reading = read();
    return reading == Reading::Done || (reading == Reading::Damaged && setAside());
}

bool PreferencesFile::write(Dictionary content) {
    Value root(std::move(content));
    const auto bytes = writeBinaryPropertyList(root);
    if (!bytes) {
        logFault("encode " + path_, bytes.error());
        return false;
    }
    if (auto replaced = replaceFile(path_, bytes->bytes(), {.sweepsFolder = true}); !replaced) {
        logFault("write " + path_, replaced.error());
        return false;
    }
    return hold(std::move(root), std::make_shared<const SeenFile>(path_)) == Reading::Done;
}

// The look comes before the reading: a file that came between the two differs from the one seen, and is read
// again.
PreferencesFile::Reading PreferencesFile::read() {
    if (path_.empty() || (seen_ && seen_->isStillAt(path_)))
        return Reading::Done;
    auto seen = std::make_shared<const SeenFile>(path_);
    const auto bytes = readFile(path_, kMaxPropertyListBytes);
    if (!bytes && isMissing(bytes.error()))
        return hold(Dictionary(), std::move(seen));
    if (!bytes && bytes.error().code != EFBIG) {
        logFault("read a domain", bytes.error());
        return Reading::Failed;
    }
    auto root = bytes ? parsePropertyList(bytes->bytes()) : bytes.error();
    if (!root || !root->asDictionary()) {
        hold(Dictionary(), nullptr);
        return Reading::Damaged;
    }
    return hold(*std::move(root), std::move(seen));
}

PreferencesFile::Reading PreferencesFile::hold(Value content, std::shared_ptr<const SeenFile> seen) {
    content_ = std::move(content);
    seen_ = std::move(seen);
    return Reading::Done;
}

bool PreferencesFile::setAside() {
    const std::string aside = path_ + ".damaged";
    if (::rename(path_.c_str(), aside.c_str()) != 0) {
        logFault("set a damaged file aside", systemError("rename " + path_, errno));
        return false;
    }
    writeLogLine("preferences: " + path_ + " was no property list with a dictionary; it was set aside as " +
                 aside);
    hold(Dictionary(), std::make_shared<const SeenFile>(path_));
    return true;
}

} // namespace kitwell::platform
