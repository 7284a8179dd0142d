#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kitwell::platform {

// The main group of a desktop entry file: keys with texts, in their order. Inside the library only; one
// thread at a time.
class DesktopEntry {
public:
    // What is no key of that group is passed over; a file that is none at all has no keys.
    static DesktopEntry parse(std::string_view content);

    // Nothing when the key is missing or its value is wrongly escaped.
    std::optional<std::string> textForKey(std::string_view key) const;
    // Whether the value is this word.
    bool holds(std::string_view key, std::string_view word) const;
    // The key must be new.
    void setText(std::string_view key, std::string_view text);
    // The content of a file.
    std::string content() const;

    // A program's path as a command line by the rules of the key "Exec", whatever it contains.
    static std::string commandLine(std::string_view program);

private:
    const std::string* find(std::string_view key) const;

    std::vector<std::pair<std::string, std::string>> values_; // escaped
};

} // namespace kitwell::platform
