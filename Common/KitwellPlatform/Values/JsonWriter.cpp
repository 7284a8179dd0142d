#include <charconv>
#include <cmath>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include "KitwellPlatform/Values/Json.h"
#include "KitwellPlatform/Values/Text.h"

namespace kitwell::platform {

namespace {

using rapidjson::SizeType;

// Each function answers whether JSON has a word for what it was given.
template <class Writer>
class ValueWriter {
public:
    explicit ValueWriter(Writer& writer) : writer_(writer) {}

    bool write(const Value& value, std::size_t depth) {
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
        return isNumber && number.text.find_first_of(" \t\r\n\xEF") == number.text.npos &&
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
};

template <class Writer>
bool writeWith(rapidjson::StringBuffer& buffer, const Value& root) {
    Writer writer(buffer);
    return ValueWriter<Writer>(writer).write(root, 0);
}

} // namespace

Result<Data> writeJson(const Value& root, JsonLayout layout) {
    rapidjson::StringBuffer buffer;
    const bool isPretty = layout == JsonLayout::Pretty;
    const bool isWritten = isPretty
                               ? writeWith<rapidjson::PrettyWriter<rapidjson::StringBuffer>>(buffer, root)
                               : writeWith<rapidjson::Writer<rapidjson::StringBuffer>>(buffer, root);
    if (!isWritten)
        return Error{std::string(kJsonErrorDomain), static_cast<std::int64_t>(JsonFault::Unwritable),
                     "a value that JSON has no word for"};
    if (isPretty)
        buffer.Put('\n');
    return Data(std::string_view(buffer.GetString(), buffer.GetSize()));
}

} // namespace kitwell::platform
