#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>
#include <rapidjson/prettywriter.h>
#include <string>

#include "KitwellPlatform/Values/Json.h"
#include "KitwellPlatform/Values/Text.h"

namespace kitwell::platform {

namespace {

using rapidjson::SizeType;

// What the library writes to. Indentation makes a small value large: what is beyond the bound is not kept.
class BoundedText {
public:
    using Ch = char;
    explicit BoundedText(std::size_t maxBytes) : maxBytes_(maxBytes) {}

    void Put(char character) {
        if (text_.size() < maxBytes_)
            text_ += character;
        else
            isFull_ = true;
    }
    void Flush() {}
    bool isFull() const { return isFull_; }
    const std::string& text() const { return text_; }

private:
    std::size_t maxBytes_;
    std::string text_;
    bool isFull_ = false;
};

// Each function answers whether to go on: JSON has a word for what it was given, and it is within the bounds.
template <class Writer>
class ValueWriter {
public:
    ValueWriter(Writer& writer, const BoundedText& output) : writer_(writer), output_(output) {}

    bool isTooLarge() const { return output_.isFull() || values_ > kMaxJsonValues; }

    bool write(const Value& value, std::size_t depth) {
        ++values_;
        if (isTooLarge())
            return false;
        if (value.isNull())
            return writer_.Null();
        if (const bool* boolean = value.asBoolean())
            return writer_.Bool(*boolean);
        if (const std::int64_t* number = value.asSigned())
            return writer_.Int64(*number);
        if (const std::uint64_t* number = value.asUnsigned())
            return writer_.Uint64(*number);
        if (const double* number = value.asDouble())
            return writeDouble(*number);
        if (const NumberText* number = value.asNumberText())
            return writeNumberText(*number);
        if (const std::string* text = value.asText())
            return isWritable(*text) && writer_.String(text->data(), static_cast<SizeType>(text->size()));
        if (depth == kMaxJsonDepth)
            return false;
        if (const Array* array = value.asArray())
            return writeArray(*array, depth + 1);
        const Dictionary* entries = value.asDictionary();
        return entries && writeDictionary(*entries, depth + 1);
    }

private:
    static bool isWritable(const std::string& text) {
        return text.size() <= kMaxJsonBytes && isValidUtf8(text);
    }
    bool writeRaw(std::string_view number) {
        return writer_.RawValue(number.data(), number.size(), rapidjson::kNumberType);
    }
    // In the shortest form that reads back as the same double.
    bool writeDouble(double number) {
        char digits[64];
        const auto end = std::to_chars(std::begin(digits), std::end(digits), number).ptr;
        return std::isfinite(number) && writeRaw({digits, static_cast<std::size_t>(end - digits)});
    }
    bool writeNumberText(const NumberText& number) {
        const auto read = parseJson(number.text);
        const bool isNumber =
            read && (read->asSigned() || read->asUnsigned() || read->asDouble() || read->asNumberText());
        return isNumber && number.text.find_first_of(" \t\r\n\xEF") == std::string::npos &&
               writeRaw(number.text);
    }
    bool writeArray(const Array& array, std::size_t depth) {
        writer_.StartArray();
        for (const Value& value : array) {
            if (!write(value, depth))
                return false;
        }
        return writer_.EndArray();
    }
    bool writeDictionary(const Dictionary& entries, std::size_t depth) {
        writer_.StartObject();
        for (const auto& [key, value] : entries) {
            if (!isWritable(key) || !writer_.Key(key.data(), static_cast<SizeType>(key.size())) ||
                !write(value, depth))
                return false;
        }
        return writer_.EndObject();
    }

    Writer& writer_;
    const BoundedText& output_;
    std::size_t values_ = 0;
};

template <class Writer>
std::optional<JsonFault> writeWith(BoundedText& output, const Value& root) {
    Writer writer(output);
    ValueWriter<Writer> values(writer, output);
    const bool isWritten = values.write(root, 0);
    if (values.isTooLarge())
        return JsonFault::Size;
    return isWritten ? std::nullopt : std::optional(JsonFault::Unwritable);
}

} // namespace

Result<Data> writeJson(const Value& root, JsonLayout layout, std::size_t maxBytes) {
    const bool isPretty = layout == JsonLayout::Pretty;
    BoundedText output(maxBytes - std::min<std::size_t>(isPretty, maxBytes)); // less the line break
    const auto fault = isPretty ? writeWith<rapidjson::PrettyWriter<BoundedText>>(output, root)
                                : writeWith<rapidjson::Writer<BoundedText>>(output, root);
    if (fault)
        return Error{std::string(kJsonErrorDomain), static_cast<std::int64_t>(*fault),
                     *fault == JsonFault::Size ? "more bytes or values than are let through"
                                               : "a value that JSON has no word for"};
    return Data(isPretty ? output.text() + '\n' : output.text());
}

} // namespace kitwell::platform
