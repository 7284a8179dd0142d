#include "KitwellPlatform/Preferences/UserDefaults.h"

#include <algorithm>
#include <cerrno>
#include <map>
#include <utility>

#include "KitwellPlatform/Applications/Bundle.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Logging/Log.h"
#include "KitwellPlatform/Machine/Machine.h"
#include "KitwellPlatform/Preferences/PreferencesFile.h"
#include "KitwellPlatform/Values/PropertyList.h"

namespace kitwell::platform {

namespace {

// Empty, with a log line, for a name that cannot be a domain's.
std::string pathOrNothing(const Result<std::string>& folder, std::string_view domain) {
    if (folder)
        return *folder + "/" + std::string(domain) + ".plist";
    writeLogLine("preferences: there is no domain '" + std::string(domain) +
                 "': " + folder.error().description);
    return {};
}

std::string suitePath(std::string_view suite) {
    auto folder = SearchPaths::groupContainer(suite);
    if (folder)
        *folder += "/Library/Preferences";
    return pathOrNothing(folder, suite);
}

std::string libraryPath(std::string_view folder, std::string_view domain) {
    if (!isPlainFileName(domain))
        return pathOrNothing(systemError("use the text as a file name", EINVAL), domain);
    return pathOrNothing(SearchPaths::userLibrary() + std::string(folder), domain);
}

std::string applicationPath(std::string_view identifier) {
    return libraryPath("/Preferences", identifier);
}

std::string applicationPathOnThisHost(std::string_view identifier) {
    const std::string host = Machine::platformUUID();
    if (host.empty())
        return pathOrNothing(systemError("tell this machine from others", ENODATA), identifier);
    return libraryPath("/Preferences/ByHost", std::string(identifier) + "." + host);
}

// A program outside any bundle has a domain, too: its own name's.
std::string mainIdentifier() {
    const std::string identifier = Bundle::main().identifier();
    return identifier.empty() ? FileUrl(SearchPaths::executable()).lastPathComponent() : identifier;
}

// Finer than equality: a zero's sign counts, and the order of a dictionary. What is not even equal is seen
// without encoding anything.
bool isWrittenAlike(const Value& left, const Value& right) {
    if (left != right)
        return false;
    const auto leftBytes = writeBinaryPropertyList(left);
    const auto rightBytes = writeBinaryPropertyList(right);
    return leftBytes && rightBytes && *leftBytes == *rightBytes;
}

template <class T>
std::optional<T> copied(const T* held) {
    return held ? std::optional(*held) : std::nullopt;
}

} // namespace

struct UserDefaults::State {
    explicit State(std::string path) : file(std::move(path)) {}

    PreferencesFile file;
    bool isRead = false;
    bool hasFailed = false;                                           // the last attempt to write
    std::map<std::string, std::optional<Value>, std::less<>> changes; // nothing stands for a removed key

    // The value under the key, or null; valid until the next change or refresh.
    const Value* find(std::string_view key);
    // What the file is to hold; nothing when the changes make no difference to what it holds.
    std::optional<Dictionary> changedContent() const;
};

const Value* UserDefaults::State::find(std::string_view key) {
    if (const auto change = changes.find(key); change != changes.end())
        return change->second ? &*change->second : nullptr;
    if (!std::exchange(isRead, true))
        file.refresh();
    return file.content().find(key);
}

std::optional<Dictionary> UserDefaults::State::changedContent() const {
    const Dictionary& held = file.content();
    const bool differs = std::ranges::any_of(changes, [&](const auto& change) {
        const Value* before = held.find(change.first);
        return change.second ? !before || !isWrittenAlike(*before, *change.second) : before != nullptr;
    });
    if (!differs)
        return std::nullopt;
    Dictionary content; // not a changed copy: what is replaced may be large
    for (const auto& [key, value] : held) {
        const auto change = changes.find(key);
        if (change == changes.end())
            content.set(key, value);
        else if (change->second)
            content.set(key, *change->second);
    }
    for (const auto& [key, value] : changes) {
        if (value && !held.find(key))
            content.set(key, *value);
    }
    return content;
}

UserDefaults::UserDefaults(std::unique_ptr<State> state) : state_(std::move(state)) {}

UserDefaults::UserDefaults(std::string_view suiteName)
    : state_(std::make_unique<State>(suitePath(suiteName))) {}

UserDefaults& UserDefaults::standard() {
    static UserDefaults one = forMainApplication();
    return one;
}

UserDefaults UserDefaults::forMainApplication() {
    return forApplication(mainIdentifier());
}

UserDefaults UserDefaults::forApplication(std::string_view bundleIdentifier) {
    return UserDefaults(std::make_unique<State>(applicationPath(bundleIdentifier)));
}

UserDefaults UserDefaults::forApplicationOnThisHost(std::string_view bundleIdentifier) {
    return UserDefaults(std::make_unique<State>(applicationPathOnThisHost(bundleIdentifier)));
}

UserDefaults::UserDefaults(UserDefaults&&) noexcept = default;

UserDefaults& UserDefaults::operator=(UserDefaults&& other) noexcept {
    // What stood here goes with `other`, and is written when that goes.
    std::swap(state_, other.state_);
    return *this;
}

UserDefaults::~UserDefaults() {
    // Who tried, perhaps under a lock of their own, knows that it failed: nothing is written behind their
    // back.
    if (state_ && !state_->changes.empty() && !state_->hasFailed)
        synchronize();
}

std::optional<Value> UserDefaults::objectForKey(std::string_view key) const {
    return copied(state_->find(key));
}

std::optional<Array> UserDefaults::arrayForKey(std::string_view key) const {
    const Value* value = state_->find(key);
    return value ? copied(value->asArray()) : std::nullopt;
}

std::optional<Dictionary> UserDefaults::dictionaryForKey(std::string_view key) const {
    const Value* value = state_->find(key);
    return value ? copied(value->asDictionary()) : std::nullopt;
}

std::optional<std::string> UserDefaults::stringForKey(std::string_view key) const {
    const Value* value = state_->find(key);
    return value ? copied(value->asText()) : std::nullopt;
}

std::optional<bool> UserDefaults::boolForKey(std::string_view key) const {
    const Value* value = state_->find(key);
    return value ? copied(value->asBoolean()) : std::nullopt;
}

std::optional<double> UserDefaults::doubleForKey(std::string_view key) const {
    const Value* value = state_->find(key);
    if (value && value->asSigned())
        return static_cast<double>(*value->asSigned());
    if (value && value->asUnsigned())
        return static_cast<double>(*value->asUnsigned());
    return value ? copied(value->asDouble()) : std::nullopt;
}

std::optional<Date> UserDefaults::dateForKey(std::string_view key) const {
    const Value* value = state_->find(key);
    return value ? copied(value->asDate()) : std::nullopt;
}

bool UserDefaults::setObjectForKey(Value value, std::string_view key) {
    if (value.isNull()) {
        removeObjectForKey(key);
        return true;
    }
    // Refused here, since the file could never be written with it, nor with any other change. Looked at where
    // it will stand in the file, and moved there and back: values may be large.
    Dictionary domain;
    domain.set(key, std::move(value));
    Value root(std::move(domain));
    const auto encoded = writeBinaryPropertyList(root);
    if (!encoded) {
        writeLogLine("preferences: the value for '" + std::string(key) +
                     "' is refused: " + encoded.error().description);
        return false;
    }
    state_->changes.insert_or_assign(std::string(key), std::move(*root.asDictionary()->find(key)));
    return true;
}

void UserDefaults::removeObjectForKey(std::string_view key) {
    state_->changes.insert_or_assign(std::string(key), std::nullopt);
}

bool UserDefaults::synchronize() {
    State& state = *state_;
    state.isRead = true; // by each of the ways below
    if (state.changes.empty())
        return state.file.refresh();
    state.hasFailed = true; // until all is done
    const auto releasedAfterTheLock = state.file.seen();
    const auto lock = state.file.lock();
    // Without the lock nothing is written, but what others wrote is taken over all the same.
    const bool isCurrent = lock ? state.file.refreshLocked() : state.file.refresh();
    if (!lock || !isCurrent)
        return false;
    auto content = state.changedContent();
    if (content && !state.file.write(*std::move(content)))
        return false;
    state.changes.clear();
    state.hasFailed = false;
    return true;
}

} // namespace kitwell::platform
