#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Values/Value.h"

namespace kitwell::platform {

// The preferences of one domain: a dictionary of property-list values in one file.
//
// The file is read once, at the first getter. A setter changes this object only; `synchronize` (or,
// failing that, the destructor) writes exactly the keys that this object changed over what the file holds
// by then, so writers of different keys never lose each other's change: "<file>.lock" is locked meanwhile.
// Nothing is written when nothing changed. A file that is no property list, or whose root is no
// dictionary, reads as empty; it is set aside once under "<file>.damaged" with one log line, and the next
// writer makes a new one. A file that cannot be read for another reason is never overwritten. A writer
// that is killed leaves the file old or new, never a lock, and at most one temporary file beside it, which
// a later writer removes once it is an hour old. A name that cannot be a file's makes a domain that holds
// nothing and takes nothing.
// One thread at a time.
class PLATFORM_API UserDefaults {
public:
    // The domain shared by an application group: <group container>/Library/Preferences/<suite>.plist.
    explicit UserDefaults(std::string_view suiteName);
    // The main bundle's own domain: <Library>/Preferences/<identifier>.plist. Outside any bundle the
    // program's file name is the identifier.
    static UserDefaults& standard();
    // A new object of that domain, for a thread of its own.
    static UserDefaults forMainApplication();
    // The domain of any application.
    static UserDefaults forApplication(std::string_view bundleIdentifier);
    // What any application keeps for this machine only, in a home that several may share:
    // <Library>/Preferences/ByHost/<identifier>.<platform UUID>.plist. A machine without an identifier has a
    // domain that holds nothing and takes nothing.
    static UserDefaults forApplicationOnThisHost(std::string_view bundleIdentifier);

    UserDefaults(UserDefaults&&) noexcept;
    UserDefaults& operator=(UserDefaults&&) noexcept;
    ~UserDefaults();

    // Nothing when the key is missing, and from a typed getter also when its value is of another type. A
    // whole number reads as a double, too.
    std::optional<Value> objectForKey(std::string_view key) const;
    std::optional<Array> arrayForKey(std::string_view key) const;
    std::optional<Dictionary> dictionaryForKey(std::string_view key) const;
    std::optional<std::string> stringForKey(std::string_view key) const;
    std::optional<bool> boolForKey(std::string_view key) const;
    std::optional<double> doubleForKey(std::string_view key) const;
    std::optional<Date> dateForKey(std::string_view key) const;

    // Null removes the key. A value that no property list can hold is refused with a log line; false then.
    bool setObjectForKey(Value value, std::string_view key);
    void removeObjectForKey(std::string_view key);

    // Writes the changes durably and takes over what others wrote. False, with a log line, when that failed:
    // the file is then as before, and the changes are kept for the next call.
    bool synchronize();

private:
    struct State;
    explicit UserDefaults(std::unique_ptr<State> state);
    std::unique_ptr<State> state_;
};

} // namespace kitwell::platform
