#include "KitwellPlatform/Applications/LoginItemList.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <fcntl.h>
#include <span>

#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Applications/DesktopEntry.h"
#include "KitwellPlatform/Files/FileAccess.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Files/NewFile.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Values/Text.h"

namespace kitwell::platform {

namespace {

constexpr std::size_t kMaxEntryBytes = 64U << 10;
constexpr char kUrlKey[] = "X-LoginItem-URL";
constexpr char kPositionKey[] = "X-LoginItem-Position";

struct Entry {
    LoginItem item;
    std::uint64_t position = 0;
    bool isSwitchedOff = false;
};

// Half of the desktops use the one key, half the other.
bool isSwitchedOff(const DesktopEntry& entry) {
    return entry.holds("Hidden", "true") || entry.holds("X-GNOME-Autostart-enabled", "false");
}

// 0 for what is no position that others can follow.
std::uint64_t readPosition(const std::string& text) {
    std::uint64_t position = 0;
    std::from_chars(text.data(), text.data() + text.size(), position);
    return position < UINT32_MAX ? position : 0;
}

std::optional<Entry> readEntry(const std::string& path) {
    const auto file = openFile(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW);
    const auto content =
        file ? readRegularFile(file->get(), kMaxEntryBytes, path) : Result<Data>(file.error());
    if (!content)
        return std::nullopt;
    const DesktopEntry entry = DesktopEntry::parse(content->text());
    auto url = entry.textForKey(kUrlKey);
    if (!url || !url->starts_with('/'))
        return std::nullopt;
    return Entry{{FileUrl(*std::move(url)), path},
                 readPosition(entry.textForKey(kPositionKey).value_or("")),
                 isSwitchedOff(entry)};
}

// Those of this class, also where they are switched off, in their order.
Result<std::vector<Entry>> readEntries() {
    const std::string folder = SearchPaths::autostart();
    std::vector<Entry> entries;
    if (const auto opened = openFile(folder, O_RDONLY | O_DIRECTORY); !opened)
        return opened.error().code == ENOENT ? Result(std::move(entries)) : opened.error();
    for (const std::string& name : FileManager::namesInFolder(folder)) {
        if (!name.ends_with(".desktop"))
            continue;
        if (auto entry = readEntry(std::string(folder).append("/").append(name)))
            entries.push_back(*std::move(entry));
    }
    std::ranges::stable_sort(entries, {}, &Entry::position);
    return entries;
}

bool canBeWritten(std::string_view path) {
    return path.starts_with('/') && isValidUtf8(path) && std::ranges::none_of(path, [](char character) {
               return (static_cast<unsigned char>(character) < 0x20 && character != '\t' &&
                       character != '\n' && character != '\r') ||
                      character == 0x7F;
           });
}

Result<std::string> executableOf(const FileUrl& url) {
    std::string executable = Bundle(url).executableUrl().path();
    if (executable.empty())
        return systemError("open " + url.path() + " at login, which names no executable", ENOEXEC);
    if (!canBeWritten(executable))
        return systemError("name in a desktop entry the file " + executable, EILSEQ);
    if (!FileManager::isExecutable(executable))
        return systemError("execute " + executable, EACCES);
    return executable;
}

std::string entryContent(const FileUrl& url, const std::string& executable, std::uint64_t position) {
    DesktopEntry entry;
    entry.setText("Type", "Application");
    entry.setText("Name", url.deletingPathExtension().lastPathComponent());
    entry.setText("Exec", DesktopEntry::commandLine(executable));
    entry.setText(kUrlKey, url.text());
    entry.setText(kPositionKey, std::to_string(position));
    return entry.content();
}

// EEXIST when the name is taken.
Result<void> createEntry(const std::string& path, const std::string& content) {
    auto file = NewFile::inFolder(folderOf(path));
    if (!file)
        return file.error();
    if (auto written = writeAll(file->descriptor(), std::as_bytes(std::span(content)), path); !written)
        return written;
    if (auto done = bringToDisk(file->descriptor(), path); !done)
        return done;
    return file->appearAs(path);
}

// The name is that of the position, so two processes never make two entries at one.
Result<void> createAtEnd(const FileUrl& url, const std::string& executable, std::uint64_t position) {
    constexpr std::uint64_t kMaxAttempts = 1000;
    for (const std::uint64_t end = position + kMaxAttempts;; ++position) {
        const std::string path =
            SearchPaths::autostart() + "/login-item-" + std::to_string(position) + ".desktop";
        auto created = createEntry(path, entryContent(url, executable, position));
        if (created || created.error().code != EEXIST || position == end)
            return created;
    }
}

} // namespace

Result<std::vector<LoginItem>> LoginItemList::items() {
    auto entries = readEntries();
    if (!entries)
        return entries.error();
    std::vector<LoginItem> items;
    for (Entry& entry : *entries) {
        if (!entry.isSwitchedOff)
            items.push_back(std::move(entry.item));
    }
    return items;
}

Result<void> LoginItemList::remove(const LoginItem& item) {
    return FileManager::removeFile(item.entry);
}

Result<void> LoginItemList::append(const FileUrl& url) {
    const auto executable = executableOf(url);
    if (!executable)
        return executable.error();
    const auto entries = readEntries();
    if (!entries)
        return entries.error();
    if (auto folder = FileManager::createFolder(SearchPaths::autostart()); !folder)
        return folder;
    const std::uint64_t last = entries->empty() ? 0 : entries->back().position;
    if (auto created = createAtEnd(url, *executable, last + 1); !created)
        return created;
    for (const Entry& entry : *entries) {
        if (entry.isSwitchedOff && entry.item.url.lastPathComponent() == url.lastPathComponent())
            static_cast<void>(FileManager::removeFile(entry.item.entry));
    }
    return {};
}

} // namespace kitwell::platform
