#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "KitwellPlatform/Export.h"
#include "KitwellPlatform/Values/Data.h"
#include "KitwellPlatform/Values/Date.h"

namespace kitwell::platform {

class Value;

using Array = std::vector<Value>;

// Texts to values; the order of first insertion is kept. Look-up costs the same however many entries there
// are.
class PLATFORM_API Dictionary {
public:
    using Entry = std::pair<std::string, Value>;

    Dictionary();
    Dictionary(std::initializer_list<Entry> entries);
    Dictionary(const Dictionary&);
    Dictionary(Dictionary&&) noexcept;
    Dictionary& operator=(const Dictionary&);
    Dictionary& operator=(Dictionary&&) noexcept;
    ~Dictionary();

    // The value under the key, or null. The pointer is valid until the dictionary next changes.
    const Value* find(std::string_view key) const;
    Value* find(std::string_view key);
    // The text under the key, or null, also when the value is of another kind; as long valid.
    const std::string* findText(std::string_view key) const;
    // Replaces the value under the key where it stands, or appends it.
    void set(std::string_view key, Value value);
    // Answers whether there was such a key. Takes time in proportion to the entries that follow it.
    bool remove(std::string_view key);

    std::size_t size() const;
    bool empty() const { return size() == 0; }
    std::vector<Entry>::const_iterator begin() const;
    std::vector<Entry>::const_iterator end() const;

    // Equal entries in any order.
    PLATFORM_API friend bool operator==(const Dictionary& left, const Dictionary& right);

private:
    std::size_t position(std::string_view key) const;
    std::size_t slotFor(std::string_view key) const;
    void rebuildIndex();

    std::vector<Entry> entries_;
    std::vector<std::uint32_t>
        index_; // open addressing: position + 1, 0 is free; empty while entries are few
};

// A number kept by its text, where no other kind holds it exactly. JSON only.
struct NumberText {
    std::string text;
    friend bool operator==(const NumberText&, const NumberText&) = default;
};

// One value of a property list or of JSON.
// An `asX` reader answers a pointer to the held X, or null when the value is of another kind: a wrong type
// reads as absent. Deep values are destroyed without recursion limits being reached for any depth the readers
// of this library let through.
class PLATFORM_API Value {
public:
    Value() = default; // null
    Value(bool value) : held_(value) {}
    Value(int value) : held_(std::int64_t{value}) {}
    Value(std::int64_t value) : held_(value) {}
    Value(std::uint64_t value) : held_(value) {}
    Value(double value) : held_(value) {}
    Value(NumberText value) : held_(std::move(value)) {}
    Value(std::string value) : held_(std::move(value)) {}
    Value(std::string_view value) : held_(std::string(value)) {}
    Value(const char* value) : held_(std::string(value)) {}
    Value(Date value) : held_(value) {}
    Value(Data value) : held_(std::move(value)) {}
    Value(Array value) : held_(std::move(value)) {}
    Value(Dictionary value) : held_(std::move(value)) {}

    bool isNull() const { return std::holds_alternative<std::monostate>(held_); }
    const bool* asBoolean() const { return std::get_if<bool>(&held_); }
    const std::int64_t* asSigned() const { return std::get_if<std::int64_t>(&held_); }
    const std::uint64_t* asUnsigned() const { return std::get_if<std::uint64_t>(&held_); }
    const double* asDouble() const { return std::get_if<double>(&held_); }
    const NumberText* asNumberText() const { return std::get_if<NumberText>(&held_); }
    const std::string* asText() const { return std::get_if<std::string>(&held_); }
    const Date* asDate() const { return std::get_if<Date>(&held_); }
    const Data* asData() const { return std::get_if<Data>(&held_); }
    const Array* asArray() const { return std::get_if<Array>(&held_); }
    const Dictionary* asDictionary() const { return std::get_if<Dictionary>(&held_); }
    Array* asArray() { return std::get_if<Array>(&held_); }
    Dictionary* asDictionary() { return std::get_if<Dictionary>(&held_); }

    // A boolean, or any number that is not zero; everything else is false.
    bool truth() const;

    // Same kind and same content. An integer equals an integer of the other signedness with the same value;
    // a NaN equals no value.
    PLATFORM_API friend bool operator==(const Value& left, const Value& right);

private:
    std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, NumberText, std::string, Date,
                 Data, Array, Dictionary>
        held_;
};

} // namespace kitwell::platform
