#include "EventReader.h"

#include <array>
#include <string>
#include <utility>
#include <vector>

#include "KitwellPlatform/Values/Xml.h"

namespace kitwell::applications {

using platform::Dictionary;

namespace {

constexpr std::size_t kEventDepth = 3; // root, section, event
constexpr std::size_t kMaxDepth = kEventDepth + 100;

struct Column {
    std::string_view name;
    std::string_view source; // the event's attribute or child; empty for all that is in no other column
};

constexpr std::array<Column, 8> kColumns{{{"time", "timestamp"},
                                          {"tool", "tool"},
                                          {"action", "action"},
                                          {"attributes", ""},
                                          {"options", "options"},
                                          {"details", "details"},
                                          {"version", "toolversion"},
                                          {"location", "toollocation"}}};

Dictionary rowFor(const Dictionary& event) {
    Dictionary row;
    for (const Column& column : kColumns)
        row.set(column.name, {});
    Dictionary others;
    for (const auto& [key, value] : event) {
        Dictionary* place = &others;
        std::string_view name = key;
        for (const Column& column : kColumns) {
            if (column.source == key) {
                place = &row;
                name = column.name;
            }
        }
        place->set(name, value);
    }
    if (!others.empty())
        row.set("attributes", std::move(others));
    return row;
}

// The elements from the event down to the one that is being read.
class EventStack {
public:
    explicit EventStack(platform::Array& rows) : rows_(rows) {}

    void begin(const platform::XmlElement& element) {
        if (++depth_ == kEventDepth - 1)
            isSectionOfEvents_ = element.name == "CepCustomData";
        if (!isSectionOfEvents_ || depth_ < kEventDepth || depth_ > kMaxDepth)
            return;
        auto& [name, entries] = open_.emplace_back(element.name, Dictionary());
        for (const auto& [key, value] : element.attributes)
            entries.set(key, value);
    }

    void end() {
        if (depth_-- > kMaxDepth || open_.empty())
            return;
        auto [name, entries] = std::move(open_.back());
        open_.pop_back();
        if (open_.empty())
            rows_.emplace_back(rowFor(entries));
        else
            open_.back().second.set(name, std::move(entries));
    }

private:
    platform::Array& rows_;
    std::vector<std::pair<std::string, Dictionary>> open_;
    std::size_t depth_ = 0;
    bool isSectionOfEvents_ = false;
};

} // namespace

platform::Result<void> readEvents(std::string_view document, platform::Array& rows) {
    EventStack stack(rows);
    return platform::readXml(document, {[&](const platform::XmlElement& element) { stack.begin(element); },
                                        [&](std::string_view) { stack.end(); },
                                        {}});
}

} // namespace kitwell::applications
