#include <bit>

#include "KitwellPlatform/Values/PropertyListReaders.h"
#include "KitwellPlatform/Values/Utf16.h"

namespace kitwell::platform {

namespace {

// A binary property list is: the magic, the objects in any order, a table with each object's offset, and a
// trailer that says where the table stands. Containers name their members by number, in references of a fixed
// width.
struct Layout {
    std::size_t offsetSize = 0;
    std::size_t referenceSize = 0;
    std::uint64_t objectCount = 0;
    std::uint64_t topObject = 0;
    std::uint64_t offsetTable = 0;
};

// `count` elements of some width, beginning at `start`, all of them inside the area of the objects.
struct Extent {
    std::size_t start = 0;
    std::size_t count = 0;
};

struct Wide {
    std::uint64_t high = 0;
    std::uint64_t low = 0;
};

// Each read answers whether it succeeded and leaves the first fault in `error_`. Containers recurse, at most
// kMaxPropertyListDepth levels deep, which also ends every cycle of references.
class Reader {
public:
    explicit Reader(std::span<const std::byte> bytes) : bytes_(bytes) {}

    Result<Value> read() {
        Value root;
        if (!readTrailer() || !readObject(layout_.topObject, bytes_.size() - 16, 0, root))
            return error_;
        return root;
    }

private:
    bool fail(std::size_t position, std::string_view fault) {
        error_ = propertyListError(position, fault);
        return false;
    }

    std::uint8_t byteAt(std::size_t at) const { return std::to_integer<std::uint8_t>(bytes_[at]); }

    std::uint64_t bigEndian(std::size_t at, std::size_t size) const {
        std::uint64_t number = 0;
        for (std::size_t end = at + size; at < end; ++at)
            number = number << 8 | byteAt(at);
        return number;
    }

    bool readTrailer() {
        if (bytes_.size() < kBinaryPropertyListMagic.size() + kBinaryPropertyListTrailerSize)
            return fail(bytes_.size(), "property list ends before its trailer");
        const std::size_t trailer = bytes_.size() - kBinaryPropertyListTrailerSize;
        layout_ = {byteAt(trailer + 6), byteAt(trailer + 7), bigEndian(trailer + 8, 8),
                   bigEndian(trailer + 16, 8), bigEndian(trailer + 24, 8)};
        if (layout_.offsetSize < 1 || layout_.offsetSize > 8)
            return fail(trailer + 6, "width of offsets is not 1 to 8 bytes");
        if (layout_.referenceSize < 1 || layout_.referenceSize > 8)
            return fail(trailer + 7, "width of references is not 1 to 8 bytes");
        if (layout_.offsetTable < kBinaryPropertyListMagic.size() || layout_.offsetTable > trailer)
            return fail(trailer + 24, "offset table is outside the file");
        if (layout_.objectCount > (trailer - layout_.offsetTable) / layout_.offsetSize)
            return fail(trailer + 8, "offset table is longer than the file");
        return true;
    }

    // Finds the object. `from` is where it is referred to: the position of a fault that lies in the
    // reference.
    bool locate(std::uint64_t number, std::size_t from, std::size_t& at) {
        if (number >= layout_.objectCount)
            return fail(from, "reference to an object that does not exist");
        const std::size_t entry = layout_.offsetTable + number * layout_.offsetSize;
        at = bigEndian(entry, layout_.offsetSize);
        if (at < kBinaryPropertyListMagic.size() || at >= layout_.offsetTable)
            return fail(entry, "object is outside the file");
        return true;
    }

    bool readObject(std::uint64_t number, std::size_t from, std::size_t depth, Value& value) {
        std::size_t at = 0;
        if (!locate(number, from, at))
            return false;
        switch (byteAt(at) >> 4) {
        case 0x0:
            return readBoolean(at, value);
        case 0x1:
            return readInteger(at, value);
        case 0x2:
            return readReal(at, value);
        case 0x3:
            return readDate(at, value);
        case 0x4:
            return readData(at, value);
        case 0x5:
        case 0x6: {
            std::string text;
            return readText(at, text) && hold(value, std::move(text));
        }
        case 0xA:
            return readArray(at, depth, value);
        case 0xD:
            return readDictionary(at, depth, value);
        default:
            return fail(at, "object of an unknown kind");
        }
    }

    template <class Held>
    static bool hold(Value& value, Held held) {
        value = Value(std::move(held));
        return true;
    }

    // Whether `size` bytes from `start` on lie in the area of the objects.
    bool holds(std::size_t start, std::size_t size) const {
        return start <= layout_.offsetTable && size <= layout_.offsetTable - start;
    }

    bool readBoolean(std::size_t at, Value& value) {
        const std::uint8_t marker = byteAt(at);
        if (marker != 0x08 && marker != 0x09)
            return fail(at, "object of an unknown kind");
        return hold(value, marker == 0x09);
    }

    // 1, 2 and 4 bytes are unsigned, 8 and 16 bytes are signed.
    bool readWide(std::size_t at, Wide& number) {
        const std::uint8_t marker = byteAt(at);
        const std::size_t size = std::size_t{1} << (marker & 0x0F);
        if ((marker & 0x0F) > 4)
            return fail(at, "integer of more than 16 bytes");
        if (!holds(at + 1, size))
            return fail(at, "integer reaches past the objects");
        if (size == 16) {
            number = {bigEndian(at + 1, 8), bigEndian(at + 9, 8)};
        } else {
            const std::uint64_t low = bigEndian(at + 1, size);
            number = {size == 8 && low >> 63 != 0 ? ~std::uint64_t{0} : 0, low};
        }
        return true;
    }

    bool readInteger(std::size_t at, Value& value) {
        Wide number;
        if (!readWide(at, number))
            return false;
        const bool lowLooksNegative = number.low >> 63 != 0;
        if (number.high == 0 && lowLooksNegative)
            return hold(value, number.low);
        if (number.high != (lowLooksNegative ? ~std::uint64_t{0} : 0))
            return fail(at, "integer of more than 64 bits");
        return hold(value, static_cast<std::int64_t>(number.low));
    }

    bool readReal(std::size_t at, Value& value) {
        const std::uint8_t marker = byteAt(at);
        if (marker != 0x22 && marker != 0x23)
            return fail(at, "real of neither 4 nor 8 bytes");
        const std::size_t size = marker == 0x22 ? 4 : 8;
        if (!holds(at + 1, size))
            return fail(at, "real reaches past the objects");
        const std::uint64_t bits = bigEndian(at + 1, size);
        if (size == 4)
            return hold(value, double{std::bit_cast<float>(static_cast<std::uint32_t>(bits))});
        return hold(value, std::bit_cast<double>(bits));
    }

    bool readDate(std::size_t at, Value& value) {
        if (byteAt(at) != 0x33)
            return fail(at, "date of other than 8 bytes");
        if (!holds(at + 1, 8))
            return fail(at, "date reaches past the objects");
        return hold(value, Date{std::bit_cast<double>(bigEndian(at + 1, 8))});
    }

    // The length stands in the marker or, where it is 15 or more, in an integer behind it.
    bool readExtent(std::size_t at, std::size_t elementSize, Extent& extent) {
        std::uint64_t count = byteAt(at) & 0x0F;
        std::size_t start = at + 1;
        if (count == 0x0F) {
            if (!holds(start, 1) || byteAt(start) >> 4 != 0x1)
                return fail(at, "length is missing");
            Wide length;
            if (!readWide(start, length))
                return false;
            if (length.high != 0)
                return fail(start, "length is out of range");
            count = length.low;
            start += 1 + (std::size_t{1} << (byteAt(start) & 0x0F));
        }
        if (start > layout_.offsetTable || count > (layout_.offsetTable - start) / elementSize)
            return fail(at, "object reaches past the objects");
        extent = {start, static_cast<std::size_t>(count)};
        return true;
    }

    std::string_view characters(const Extent& extent) const {
        return {reinterpret_cast<const char*>(bytes_.data()) + extent.start, extent.count};
    }

    bool takeContent(std::size_t at, std::size_t size) {
        return budget_.takeContent(size) || fail(at, "texts and data are too large");
    }

    bool readData(std::size_t at, Value& value) {
        Extent extent;
        if (!readExtent(at, 1, extent) || !takeContent(at, extent.count))
            return false;
        return hold(value, Data::copying(bytes_.subspan(extent.start, extent.count)));
    }

    bool readText(std::size_t at, std::string& text) {
        return byteAt(at) >> 4 == 0x5 ? readAsciiText(at, text) : readUtf16Text(at, text);
    }

    bool readAsciiText(std::size_t at, std::string& text) {
        Extent extent;
        if (!readExtent(at, 1, extent) || !takeContent(at, extent.count))
            return false;
        text = characters(extent);
        for (std::size_t index = 0; index < text.size(); ++index) {
            if (static_cast<unsigned char>(text[index]) >= 0x80)
                return fail(extent.start + index, "ASCII text holds another character");
        }
        return true;
    }

    bool readUtf16Text(std::size_t at, std::string& text) {
        Extent extent;
        if (!readExtent(at, 2, extent) || !takeContent(at, extent.count))
            return false;
        auto converted = utf8FromUtf16(bytes_.subspan(extent.start, 2 * extent.count));
        if (const std::size_t* fault = std::get_if<std::size_t>(&converted))
            return fail(extent.start + *fault, "half of a surrogate pair");
        text = std::move(std::get<std::string>(converted));
        // A unit becomes a byte at least, and those are paid for already.
        return takeContent(at, text.size() - extent.count);
    }

    // Members are paid for before room is made for them.
    bool enterContainer(std::size_t at, std::size_t depth, std::size_t members) {
        if (depth >= kMaxPropertyListDepth)
            return fail(at, "containers are nested too deeply");
        return budget_.takeValues(members) || fail(at, "too many values");
    }

    std::uint64_t referenceAt(std::size_t at) const { return bigEndian(at, layout_.referenceSize); }

    bool readArray(std::size_t at, std::size_t depth, Value& value) {
        Extent members;
        if (!readExtent(at, layout_.referenceSize, members) || !enterContainer(at, depth, members.count))
            return false;
        Array array(members.count);
        std::size_t reference = members.start;
        for (Value& member : array) {
            if (!readObject(referenceAt(reference), reference, depth + 1, member))
                return false;
            reference += layout_.referenceSize;
        }
        return hold(value, std::move(array));
    }

    // All keys stand before all values.
    bool readDictionary(std::size_t at, std::size_t depth, Value& value) {
        Extent keys;
        if (!readExtent(at, 2 * layout_.referenceSize, keys) || !enterContainer(at, depth, 2 * keys.count))
            return false;
        Dictionary dictionary;
        const std::size_t toValue = keys.count * layout_.referenceSize;
        std::size_t reference = keys.start;
        for (std::size_t entry = 0; entry < keys.count; ++entry, reference += layout_.referenceSize) {
            std::string key;
            Value member;
            if (!readKey(reference, key) ||
                !readObject(referenceAt(reference + toValue), reference + toValue, depth + 1, member))
                return false;
            dictionary.set(key, std::move(member));
        }
        return hold(value, std::move(dictionary));
    }

    bool readKey(std::size_t reference, std::string& key) {
        std::size_t at = 0;
        if (!locate(referenceAt(reference), reference, at))
            return false;
        const int kind = byteAt(at) >> 4;
        return kind == 0x5 || kind == 0x6 ? readText(at, key)
                                          : fail(reference, "key of a dictionary is no text");
    }

    std::span<const std::byte> bytes_;
    Layout layout_;
    PropertyListBudget budget_;
    Error error_;
};

} // namespace

Result<Value> readBinaryPropertyList(std::span<const std::byte> bytes) {
    return Reader(bytes).read();
}

} // namespace kitwell::platform
