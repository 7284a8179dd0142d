#pragma once

#include <memory>
#include <optional>
#include <string>

#include "KitwellPlatform/Files/LockedFile.h"
#include "KitwellPlatform/Preferences/SeenFile.h"
#include "KitwellPlatform/Values/Value.h"

namespace kitwell::platform {

// The file of one preferences domain and what it held when it was last looked at. Inside the library only;
// one thread at a time.
class PreferencesFile {
public:
    // An empty path stands for a domain that cannot be: it holds nothing and takes nothing.
    explicit PreferencesFile(std::string path) : path_(std::move(path)) {}

    const Dictionary& content() const { return *content_.asDictionary(); }
    // Kept by a caller beyond the domain's lock, this keeps the costly release of a replaced file out of it.
    std::shared_ptr<const SeenFile> seen() const { return seen_; }

    // The domain's own lock, in a file beside it. The folder is made when it is missing.
    std::optional<LockedFile> lock() const;
    // Brings the content up to the file, which is parsed only when it is not the one seen last. A damaged
    // file is set aside and reads as empty. False, with a log line, when the file cannot be read: the content
    // is then still the one that was read last, since the file may well be sound.
    bool refresh();
    // The same for the holder of the domain's lock.
    bool refreshLocked();
    // For the holder of the domain's lock: replaces the file. False with a log line when that failed.
    bool write(Dictionary content);

private:
    enum class Reading { Done, Damaged, Failed };

    Reading read();
    Reading hold(Value content, std::shared_ptr<const SeenFile> seen);
    bool setAside();

    std::string path_;
    Value content_ = Dictionary();
    std::shared_ptr<const SeenFile> seen_; // null until the content is a file's
};

} // namespace kitwell::platform
