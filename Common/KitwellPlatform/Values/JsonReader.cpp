#include <algorithm>
#include <charconv>
#include <limits>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include "KitwellPlatform/Values/Json.h"
#include "KitwellPlatform/Values/Text.h"

namespace kitwell::platform {

namespace {

using rapidjson::SizeType;

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

JsonPosition positionOf(std::string_view text, std::size_t offset) {
    const std::string_view before = text.substr(0, std::min(offset, text.size()));
    const std::size_t lineStart = before.rfind('\n') + 1; // 0 in the first line
    const auto isCharacter = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; };
    return {1 + static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')),
            1 + static_cast<std::size_t>(std::count_if(
                    before.begin() + static_cast<std::ptrdiff_t>(lineStart), before.end(), isCharacter))};
}

// The number when it is written with these very characters.
template <class Number>
std::optional<Value> numberWrittenAs(std::string_view characters) {
    Number number{};
    const char* const end = characters.data() + characters.size();
    const auto read = std::from_chars(characters.data(), end, number);
    if (read.ec != std::errc() || read.ptr != end)
        return std::nullopt;
    char again[64];
    const auto written = std::to_chars(std::begin(again), std::end(again), number);
    return std::string_view(again, static_cast<std::size_t>(written.ptr - again)) == characters
               ? std::optional(Value(number))
               : std::nullopt;
}

// Of a number that no double is near: whether it is too large rather than too small, which the place of its
// first digit tells.
bool isTooLarge(std::string_view characters) {
    const std::size_t end = std::min(characters.find_first_of("eE"), characters.size());
    const std::size_t point = std::min(characters.substr(0, end).find('.'), end);
    std::string_view digits = characters.substr(std::min(end + 1, characters.size()));
    if (digits.starts_with('+'))
        digits.remove_prefix(1);
    std::int64_t exponent = 0;
    if (std::from_chars(digits.data(), digits.data() + digits.size(), exponent).ec ==
        std::errc::result_out_of_range)
        return !digits.starts_with('-');
    return static_cast<std::int64_t>(point - characters.find_first_of("123456789")) + exponent > 0;
}

std::optional<Value> numberFrom(std::string_view characters) {
    if (auto integer = numberWrittenAs<std::int64_t>(characters))
        return integer;
    if (auto integer = numberWrittenAs<std::uint64_t>(characters))
        return integer;
    if (auto decimal = numberWrittenAs<double>(characters))
        return decimal;
    double ignored = 0;
    const auto read = std::from_chars(characters.data(), characters.data() + characters.size(), ignored);
    if (read.ec == std::errc::result_out_of_range && isTooLarge(characters))
        return std::nullopt;
    return Value(NumberText{std::string(characters)});
}

std::size_t endOfDigits(std::string_view text, std::size_t at) {
    return std::min(text.find_first_not_of("0123456789", at), text.size());
}

// Where the JSON number ends whose digits begin here.
std::size_t endOfNumber(std::string_view text, std::size_t at) {
    std::size_t end = text[at] == '0' ? at + 1 : endOfDigits(text, at);
    if (text.substr(end).starts_with('.')) {
        const std::size_t fraction = endOfDigits(text, end + 1);
        end = fraction > end + 1 ? fraction : end;
    }
    if (end == text.size() || (text[end] != 'e' && text[end] != 'E'))
        return end;
    const std::size_t sign = text.substr(end + 1).find_first_of("+-") == 0 ? 1 : 0;
    const std::size_t exponent = endOfDigits(text, end + 1 + sign);
    return exponent > end + 1 + sign ? exponent : end;
}

std::size_t endOfString(std::string_view text, std::size_t quote) {
    for (std::size_t at = quote + 1; at < text.size(); ++at) {
        if (text[at] == '"')
            return at + 1;
        at += text[at] == '\\' ? 1 : 0;
    }
    return text.size();
}

// The parser judges the range of a number by its exponent or its digits alone, and so refuses some that a
// double holds, as 0e999. It is given the text with harmless numbers of the same length in the place of long
// ones; what is no number stays. Nothing when there are none.
std::optional<std::string> withHarmlessNumbers(std::string_view text) {
    constexpr std::size_t kAlwaysWithinRange = 300; // digits
    std::optional<std::string> harmless;
    for (std::size_t at = text.find_first_of("\"0123456789"); at != std::string_view::npos;
         at = text.find_first_of("\"0123456789", at)) {
        const bool isString = text[at] == '"';
        const std::size_t end = isString ? endOfString(text, at) : endOfNumber(text, at);
        const std::string_view number = text.substr(at, end - at);
        const bool isPart = end < text.size() &&
                            std::string_view("0123456789.eE+-").find(text[end]) != std::string_view::npos;
        if (!isString && !isPart &&
            (number.size() > kAlwaysWithinRange || number.find_first_of("eE") != std::string_view::npos)) {
            harmless = harmless ? *std::move(harmless) : std::string(text);
            harmless->replace(at, number.size(), number.size(), '0')[at + 1] = '.';
        }
        at = end;
    }
    return harmless;
}

// Takes what the parser meets, and builds the value from it. Answering false ends the parsing.
class Builder {
public:
    Builder(std::string_view text, const rapidjson::MemoryStream& stream, JsonReport* report)
        : text_(text), stream_(stream), report_(report) {}

    bool Null() { return add(Value()); }
    bool Bool(bool boolean) { return add(boolean); }
    bool RawNumber(const char*, SizeType length, bool) {
        auto number = numberFrom(text_.substr(stream_.Tell() - length, length)); // as it really stands there
        return number ? add(*std::move(number))
                      : fail(JsonFault::Number, "number beyond the range of a double");
    }
    bool String(const char* characters, SizeType length, bool) {
        const std::string_view text(characters, length);
        return isText(text) && add(text);
    }
    bool Key(const char* characters, SizeType length, bool) {
        open_.back().key.assign(characters, length);
        reportIfDuplicate(open_.back());
        return isText(open_.back().key);
    }
    bool StartObject() { return begin(Dictionary()); }
    bool EndObject(SizeType) { return end(); }
    bool StartArray() { return begin(Array()); }
    bool EndArray(SizeType) { return end(); }

    // The parser hands every number over as its text.
    bool Int(int) { return false; }
    bool Uint(unsigned) { return false; }
    bool Int64(std::int64_t) { return false; }
    bool Uint64(std::uint64_t) { return false; }
    bool Double(double) { return false; }

    Value takeRoot() { return std::move(root_); }
    JsonFault fault() const { return fault_; }
    std::string_view reason() const { return reason_; }

private:
    // An array or dictionary whose end was not met yet, and the key that waits for its value.
    struct Open {
        Value value;
        std::string key;
    };

    bool fail(JsonFault fault, std::string_view reason) {
        fault_ = fault;
        reason_ = reason;
        return false;
    }
    // The parser itself lets the second half of a surrogate pair pass alone.
    bool isText(std::string_view text) {
        return isValidUtf8(text) || fail(JsonFault::Encoding, "half a surrogate pair");
    }
    bool isWithinBounds() { return ++values_ <= kMaxJsonValues || fail(JsonFault::Size, "too many values"); }
    bool begin(Value container) {
        if (open_.size() == kMaxJsonDepth)
            return fail(JsonFault::Depth, "nested too deep");
        open_.push_back({std::move(container), {}});
        return isWithinBounds();
    }
    bool end() {
        Value finished = std::move(open_.back().value);
        open_.pop_back();
        place(std::move(finished));
        return true;
    }
    bool add(Value value) {
        if (!isWithinBounds())
            return false;
        place(std::move(value));
        return true;
    }
    void place(Value value) {
        if (open_.empty()) {
            root_ = std::move(value);
            return;
        }
        Open& parent = open_.back();
        if (Array* array = parent.value.asArray()) {
            array->push_back(std::move(value));
            return;
        }
        parent.value.asDictionary()->set(parent.key, std::move(value));
    }
    void reportIfDuplicate(const Open& parent) {
        if (!report_ || report_->duplicates.size() == kMaxJsonDuplicates ||
            !parent.value.asDictionary()->find(parent.key))
            return;
        // The key has just been read: it begins at the last quotation mark that no backslash stands before.
        std::size_t start = text_.rfind('"', stream_.Tell() - 2);
        while (text_[start - 1] == '\\')
            start = text_.rfind('"', start - 1);
        report_->duplicates.push_back({parent.key, positionOf(text_, start)});
    }

    std::string_view text_;
    const rapidjson::MemoryStream& stream_;
    JsonReport* report_;
    Value root_;
    std::vector<Open> open_;
    std::size_t values_ = 0;
    JsonFault fault_ = JsonFault::Syntax;
    std::string_view reason_;
};

JsonFault faultFor(rapidjson::ParseErrorCode code) {
    switch (code) {
    case rapidjson::kParseErrorDocumentEmpty:
        return JsonFault::Empty;
    case rapidjson::kParseErrorStringInvalidEncoding:
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
        return JsonFault::Encoding;
    case rapidjson::kParseErrorNumberTooBig:
        return JsonFault::Number;
    default:
        return JsonFault::Syntax;
    }
}

// The parser's own texts are sentences.
std::string reasonFor(rapidjson::ParseErrorCode code) {
    std::string reason = rapidjson::GetParseError_En(code);
    if (reason.ends_with('.'))
        reason.pop_back();
    return reason;
}

struct Fault {
    JsonFault kind;
    std::string reason;
    std::size_t offset;
};

Error errorFor(const Fault& fault, std::string_view text, JsonReport* report) {
    const JsonPosition position = positionOf(text, fault.offset);
    if (report)
        report->fault = position;
    return {std::string(kJsonErrorDomain), static_cast<std::int64_t>(fault.kind),
            formatText("%@ at line %lu, column %lu", fault.reason, position.line, position.column)};
}

} // namespace

Result<Value> parseJson(std::string_view text, std::size_t maxBytes, JsonReport* report) {
    if (text.size() > maxBytes)
        return errorFor({JsonFault::Size, "more bytes than are let through", 0}, text, report);
    if (text.starts_with(kByteOrderMark))
        text.remove_prefix(kByteOrderMark.size());
    const auto harmless = withHarmlessNumbers(text);
    rapidjson::MemoryStream stream(harmless ? harmless->data() : text.data(), text.size());
    Builder builder(text, stream, report);
    rapidjson::Reader reader;
    constexpr unsigned kFlags = rapidjson::kParseNumbersAsStringsFlag | rapidjson::kParseIterativeFlag |
                                rapidjson::kParseValidateEncodingFlag;
    const rapidjson::ParseResult result = reader.Parse<kFlags>(stream, builder);
    if (result.Code() == rapidjson::kParseErrorTermination)
        return errorFor({builder.fault(), std::string(builder.reason()), result.Offset()}, text, report);
    if (!result)
        return errorFor({faultFor(result.Code()), reasonFor(result.Code()), result.Offset()}, text, report);
    if (stream.Tell() != text.size()) // the parser takes a NUL for the end
        return errorFor({JsonFault::Syntax, "a NUL follows the value", stream.Tell()}, text, report);
    return builder.takeRoot();
}

} // namespace kitwell::platform
