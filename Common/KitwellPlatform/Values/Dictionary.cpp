#include <algorithm>
#include <functional>

#include "KitwellPlatform/Values/Value.h"

namespace kitwell::platform {

namespace {

// Below this size a walk over the entries is faster than an index.
constexpr std::size_t kIndexedFrom = 16;
constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);

} // namespace

Dictionary::Dictionary() = default;
Dictionary::Dictionary(const Dictionary&) = default;
Dictionary::Dictionary(Dictionary&&) noexcept = default;
Dictionary& Dictionary::operator=(const Dictionary&) = default;
Dictionary& Dictionary::operator=(Dictionary&&) noexcept = default;
Dictionary::~Dictionary() = default;

Dictionary::Dictionary(std::initializer_list<Entry> entries) {
    for (const Entry& entry : entries)
        set(entry.first, entry.second);
}

std::size_t Dictionary::size() const {
    return entries_.size();
}

std::vector<Dictionary::Entry>::const_iterator Dictionary::begin() const {
    return entries_.begin();
}

std::vector<Dictionary::Entry>::const_iterator Dictionary::end() const {
    return entries_.end();
}

// The slot of the index that holds the key's position, or the free slot where it would stand.
std::size_t Dictionary::slotFor(std::string_view key) const {
    const std::size_t mask = index_.size() - 1;
    std::size_t slot = std::hash<std::string_view>{}(key)&mask;
    while (index_[slot] != 0 && entries_[index_[slot] - 1].first != key)
        slot = (slot + 1) & mask;
    return slot;
}

std::size_t Dictionary::position(std::string_view key) const {
    if (!index_.empty()) {
        const std::uint32_t found = index_[slotFor(key)];
        return found == 0 ? kNowhere : found - 1;
    }
    for (std::size_t at = 0; at < entries_.size(); ++at) {
        if (entries_[at].first == key)
            return at;
    }
    return kNowhere;
}

// At most half of the slots are ever taken, so a probe is short and always ends.
void Dictionary::rebuildIndex() {
    index_.clear();
    if (entries_.size() < kIndexedFrom)
        return;
    std::size_t slots = 2 * kIndexedFrom;
    while (slots < 4 * entries_.size())
        slots *= 2;
    index_.assign(slots, 0);
    for (std::size_t at = 0; at < entries_.size(); ++at)
        index_[slotFor(entries_[at].first)] = static_cast<std::uint32_t>(at + 1);
}

const Value* Dictionary::find(std::string_view key) const {
    const std::size_t at = position(key);
    return at == kNowhere ? nullptr : &entries_[at].second;
}

Value* Dictionary::find(std::string_view key) {
    const std::size_t at = position(key);
    return at == kNowhere ? nullptr : &entries_[at].second;
}

const std::string* Dictionary::findText(std::string_view key) const {
    const Value* value = find(key);
    return value ? value->asText() : nullptr;
}

void Dictionary::set(std::string_view key, Value value) {
    if (Value* held = find(key)) {
        *held = std::move(value);
        return;
    }
    entries_.emplace_back(std::string(key), std::move(value));
    if (index_.size() < 2 * entries_.size())
        rebuildIndex();
    else
        index_[slotFor(key)] = static_cast<std::uint32_t>(entries_.size());
}

bool Dictionary::remove(std::string_view key) {
    const std::size_t at = position(key);
    if (at == kNowhere)
        return false;
    entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(at));
    rebuildIndex();
    return true;
}

bool operator==(const Dictionary& left, const Dictionary& right) {
    return left.size() == right.size() &&
           std::all_of(left.entries_.begin(), left.entries_.end(), [&](const Dictionary::Entry& entry) {
               const Value* other = right.find(entry.first);
               return other && *other == entry.second;
           });
}

} // namespace kitwell::platform
