#include <algorithm>
#include <array>
#include <bit>
#include <limits>
#include <utility>

#include "KitwellPlatform/Values/PropertyListReaders.h"
#include "KitwellPlatform/Values/Text.h"
#include "KitwellPlatform/Values/Utf16.h"

namespace kitwell::platform {

namespace {

void appendBigEndian(std::string& bytes, std::uint64_t number, std::size_t size) {
    std::array<char, 8> digits;
    for (std::size_t place = size; place > 0; number >>= 8)
        digits[--place] = static_cast<char>(number);
    bytes.append(digits.data(), size);
}

std::size_t bytesFor(std::uint64_t number) {
    return std::max<std::size_t>(1, (static_cast<std::size_t>(std::bit_width(number)) + 7) / 8);
}

void appendUnsigned(std::string& bytes, std::uint64_t number) {
    const bool beyondSigned = number > std::uint64_t{std::numeric_limits<std::int64_t>::max()};
    const std::size_t size = beyondSigned ? 16 : std::bit_ceil(bytesFor(number));
    bytes += static_cast<char>(0x10 | std::countr_zero(size));
    if (beyondSigned)
        appendBigEndian(bytes, 0, 8);
    appendBigEndian(bytes, number, std::min<std::size_t>(size, 8));
}

void appendSigned(std::string& bytes, std::int64_t number) {
    if (number >= 0) {
        appendUnsigned(bytes, static_cast<std::uint64_t>(number));
        return;
    }
    bytes += '\x13';
    appendBigEndian(bytes, static_cast<std::uint64_t>(number), 8);
}

void appendDouble(std::string& bytes, char marker, double number) {
    bytes += marker;
    appendBigEndian(bytes, std::bit_cast<std::uint64_t>(number), 8);
}

void appendMarker(std::string& bytes, int kind, std::size_t count) {
    bytes += static_cast<char>(kind | static_cast<int>(std::min<std::size_t>(count, 15)));
    if (count >= 15)
        appendUnsigned(bytes, count);
}

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

void appendText(std::string& bytes, std::string_view text) {
    if (isAscii(text)) {
        appendMarker(bytes, 0x50, text.size());
        bytes += text;
        return;
    }
    const std::string units = utf16FromUtf8(text);
    appendMarker(bytes, 0x60, units.size() / 2);
    bytes += units;
}

// Works in two passes, since the width of the references follows from the number of objects. The first walks
// the values, numbers them and encodes the scalars; the second lays them out. Two scalars with the same
// encoding are one object, in whatever places they stand.
class Writer {
public:
    Result<Data> write(const Value& root) {
        std::uint32_t number = 0;
        if (!collect(root, 0, number) || !layOut())
            return error_;
        return Data(std::string_view(file_));
    }

private:
    // A scalar is its encoding in scalars_ from `first` on; a container is its references in references_.
    struct Object {
        std::size_t first = 0;
        std::size_t count = 0;
        int container = 0; // the kind's marker, 0 for a scalar
    };

    std::string_view encoding(std::uint32_t number) const {
        return std::string_view(scalars_).substr(objects_[number].first, objects_[number].count);
    }

    bool fail(std::string_view fault) {
        error_ = {std::string(kPropertyListErrorDomain), 0, std::string(fault)};
        return false;
    }

    bool collect(const Value& value, std::size_t depth, std::uint32_t& number) {
        if (const Array* array = value.asArray())
            return collectArray(*array, depth, number);
        if (const Dictionary* dictionary = value.asDictionary())
            return collectDictionary(*dictionary, depth, number);
        const std::size_t first = scalars_.size();
        if (!encodeScalar(value))
            return false;
        number = shareScalar(first);
        return true;
    }

    bool encodeScalar(const Value& value) {
        if (const std::string* text = value.asText())
            return encodeText(*text);
        if (const Data* data = value.asData())
            return encodeData(*data);
        if (const bool* boolean = value.asBoolean())
            scalars_ += *boolean ? '\x09' : '\x08';
        else if (const std::int64_t* number = value.asSigned())
            appendSigned(scalars_, *number);
        else if (const std::uint64_t* magnitude = value.asUnsigned())
            appendUnsigned(scalars_, *magnitude);
        else if (const double* real = value.asDouble())
            appendDouble(scalars_, '\x23', *real);
        else if (const Date* date = value.asDate())
            appendDouble(scalars_, '\x33', date->secondsSinceReference);
        else
            return fail("a property list holds no null and no number kept by its text");
        return true;
    }

    bool encodeText(std::string_view text) {
        if (!budget_.takeContent(text.size()))
            return fail("texts and data are too large");
        if (!isValidUtf8(text))
            return fail("text is not UTF-8");
        appendText(scalars_, text);
        return true;
    }

    bool encodeData(const Data& data) {
        if (!budget_.takeContent(data.size()))
            return fail("texts and data are too large");
        appendMarker(scalars_, 0x40, data.size());
        scalars_ += data.text();
        return true;
    }

    // The scalar encoded last, from `first` on, becomes an object, or gives its room back when there is one
    // like it.
    std::uint32_t shareScalar(std::size_t first) {
        if (2 * objects_.size() >= known_.size())
            growKnown();
        std::uint32_t& known = known_[slotFor(std::string_view(scalars_).substr(first))];
        if (known != 0) {
            scalars_.resize(first);
            return known - 1;
        }
        objects_.push_back({first, scalars_.size() - first, 0});
        known = static_cast<std::uint32_t>(objects_.size());
        return known - 1;
    }

    // The slot of the scalar with this encoding, or the free slot where it would stand.
    std::size_t slotFor(std::string_view encoded) const {
        const std::size_t mask = known_.size() - 1;
        std::size_t slot = std::hash<std::string_view>{}(encoded)&mask;
        while (known_[slot] != 0 && encoding(known_[slot] - 1) != encoded)
            slot = (slot + 1) & mask;
        return slot;
    }

    void growKnown() {
        const auto before =
            std::exchange(known_, std::vector<std::uint32_t>(std::max<std::size_t>(256, 4 * known_.size())));
        for (const std::uint32_t known : before) {
            if (known != 0)
                known_[slotFor(encoding(known - 1))] = known;
        }
    }

    // Numbers the container and makes room for the references to its members.
    bool enterContainer(int kind, std::size_t depth, std::size_t members, std::uint32_t& number,
                        std::size_t& reference) {
        if (depth >= kMaxPropertyListDepth)
            return fail("containers are nested too deeply");
        if (!budget_.takeValues(members))
            return fail("too many values");
        number = static_cast<std::uint32_t>(objects_.size());
        reference = references_.size();
        objects_.push_back({reference, members, kind});
        references_.resize(reference + members);
        return true;
    }

    bool collectMember(const Value& member, std::size_t depth, std::size_t reference) {
        std::uint32_t number = 0;
        if (!collect(member, depth + 1, number))
            return false;
        references_[reference] = number;
        return true;
    }

    bool collectKey(std::string_view key, std::size_t reference) {
        const std::size_t first = scalars_.size();
        if (!encodeText(key))
            return false;
        references_[reference] = shareScalar(first);
        return true;
    }

    bool collectArray(const Array& array, std::size_t depth, std::uint32_t& number) {
        std::size_t reference = 0;
        if (!enterContainer(0xA0, depth, array.size(), number, reference))
            return false;
        for (const Value& member : array) {
            if (!collectMember(member, depth, reference++))
                return false;
        }
        return true;
    }

    bool collectDictionary(const Dictionary& dictionary, std::size_t depth, std::uint32_t& number) {
        std::size_t reference = 0;
        if (!enterContainer(0xD0, depth, 2 * dictionary.size(), number, reference))
            return false;
        for (const auto& [key, member] : dictionary) {
            if (!collectKey(key, reference) || !collectMember(member, depth, reference + dictionary.size()))
                return false;
            ++reference;
        }
        return true;
    }

    bool layOut() {
        const std::size_t referenceSize = bytesFor(objects_.size() - 1);
        file_.reserve(scalars_.size() + references_.size() * referenceSize + objects_.size() * 8 + 64);
        file_ = kBinaryPropertyListMagic;
        std::vector<std::size_t> offsets;
        offsets.reserve(objects_.size());
        for (const Object& object : objects_) {
            offsets.push_back(file_.size());
            if (object.container == 0)
                file_ += std::string_view(scalars_).substr(object.first, object.count);
            else
                layOutContainer(object, referenceSize);
        }
        layOutOffsets(offsets, referenceSize);
        return file_.size() <= kMaxPropertyListBytes || fail("property list is too large");
    }

    void layOutContainer(const Object& object, std::size_t referenceSize) {
        appendMarker(file_, object.container, object.container == 0xD0 ? object.count / 2 : object.count);
        for (std::size_t member = 0; member < object.count; ++member)
            appendBigEndian(file_, references_[object.first + member], referenceSize);
    }

    // The root was numbered first, so the trailer names object 0.
    void layOutOffsets(const std::vector<std::size_t>& offsets, std::size_t referenceSize) {
        const std::size_t table = file_.size();
        const std::size_t offsetSize = bytesFor(table);
        for (const std::size_t offset : offsets)
            appendBigEndian(file_, offset, offsetSize);
        file_.append(6, '\0');
        file_ += static_cast<char>(offsetSize);
        file_ += static_cast<char>(referenceSize);
        appendBigEndian(file_, objects_.size(), 8);
        appendBigEndian(file_, 0, 8);
        appendBigEndian(file_, table, 8);
    }

    std::vector<Object> objects_;
    std::string scalars_;
    std::vector<std::uint32_t> references_;
    std::vector<std::uint32_t>
        known_; // open addressing: a scalar's number + 1, 0 is free; never more than half full
    std::string file_;
    PropertyListBudget budget_;
    Error error_;
};

} // namespace

Result<Data> writeBinaryPropertyList(const Value& root) {
    return Writer().write(root);
}

} // namespace kitwell::platform
