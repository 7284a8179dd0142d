#include "KitwellPlatform/Images/DeflateJoin.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <optional>
#include <span>

namespace kitwell::platform {

namespace {

// The block that ends a stream is known only by going through all blocks before it. The codes are followed,
// and nothing is unpacked.

constexpr unsigned kMaxCodeLength = 15;
constexpr unsigned kEndOfBlock = 256;

// The bits of the stream from its beginning, the lowest of each byte first.
class Bits {
public:
    // Behind the bytes there must be room for one more read.
    Bits(const std::byte* bytes, std::size_t size) : bytes_(bytes), end_(size * 8) {}

    std::uint64_t position() const { return position_; }
    bool isBeyondEnd() const { return position_ > end_; }
    // The next 57 bits or more, whatever stands behind the end.
    std::uint64_t peek() const {
        std::uint64_t bits = 0;
        std::memcpy(&bits, bytes_ + std::min(position_, end_) / 8, sizeof bits);
        if constexpr (std::endian::native == std::endian::big)
            bits = __builtin_bswap64(bits);
        return bits >> position_ % 8;
    }
    void skip(std::uint64_t count) { position_ += count; }
    void skipToByte() { position_ = (position_ + 7) / 8 * 8; }
    unsigned take(unsigned count) {
        const auto bits = static_cast<unsigned>(peek() & ((1U << count) - 1));
        skip(count);
        return bits;
    }

private:
    const std::byte* bytes_;
    std::uint64_t end_;
    std::uint64_t position_ = 0;
};

struct Symbol {
    std::uint16_t number = 0;
    std::uint16_t length = 0; // of its code; 0: there is no such code
};

// A prefix code: its symbol for each value of as many bits as its longest code has.
class Code {
public:
    explicit Code(std::span<const std::uint8_t> lengths) {
        width_ = lengths.empty() ? 0 : *std::max_element(lengths.begin(), lengths.end());
        table_.resize(std::size_t{1} << width_);
        std::array<unsigned, kMaxCodeLength + 2> next{};
        for (const std::uint8_t length : lengths)
            if (length > 0)
                ++next[length + 1U];
        for (unsigned length = 1; length <= kMaxCodeLength; ++length)
            // cppcheck-suppress containerOutOfBounds
            next[length] = (next[length] + next[length - 1]) * 2;
        for (std::size_t symbol = 0; symbol < lengths.size(); ++symbol)
            if (const unsigned length = lengths[symbol]; length > 0)
                enter({static_cast<std::uint16_t>(symbol), static_cast<std::uint16_t>(length)},
                      next[length]++);
    }
    const Symbol& find(std::uint64_t bits) const { return table_[bits & (table_.size() - 1)]; }

private:
    void enter(Symbol symbol, unsigned code) {
        unsigned reversed = 0;
        for (unsigned bit = 0; bit < symbol.length; ++bit)
            reversed |= (code >> bit & 1U) << (symbol.length - 1U - bit);
        for (std::size_t at = reversed; at < table_.size(); at += std::size_t{1} << symbol.length)
            table_[at] = symbol;
    }

    unsigned width_ = 0;
    std::vector<Symbol> table_;
};

struct BlockCodes {
    Code literals;
    Code distances;
};

BlockCodes fixedCodes() {
    std::array<std::uint8_t, 288> literals{};
    std::fill(literals.begin(), literals.begin() + 144, std::uint8_t{8});
    std::fill(literals.begin() + 144, literals.begin() + 256, std::uint8_t{9});
    std::fill(literals.begin() + 256, literals.begin() + 280, std::uint8_t{7});
    std::fill(literals.begin() + 280, literals.end(), std::uint8_t{8});
    std::array<std::uint8_t, 30> distances{};
    distances.fill(5);
    return {Code(literals), Code(distances)};
}

std::optional<BlockCodes> readCodes(Bits& bits) {
    constexpr std::uint8_t kOrder[] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};
    const unsigned literals = bits.take(5) + 257, distances = bits.take(5) + 1, used = bits.take(4) + 4;
    std::array<std::uint8_t, std::size(kOrder)> lengthLengths{};
    for (unsigned i = 0; i < used; ++i)
        lengthLengths[kOrder[i]] = static_cast<std::uint8_t>(bits.take(3));
    const Code lengthCode(lengthLengths);
    std::vector<std::uint8_t> lengths;
    while (lengths.size() < literals + distances) {
        const Symbol symbol = lengthCode.find(bits.peek());
        bits.skip(symbol.length);
        if (symbol.length == 0 || bits.isBeyondEnd() || (symbol.number == 16 && lengths.empty()))
            return std::nullopt;
        if (symbol.number < 16)
            lengths.push_back(static_cast<std::uint8_t>(symbol.number));
        else if (symbol.number == 16)
            lengths.insert(lengths.end(), 3 + bits.take(2), std::uint8_t{lengths.back()});
        else
            lengths.resize(lengths.size() + (symbol.number == 17 ? 3 + bits.take(3) : 11 + bits.take(7)));
    }
    lengths.resize(literals + distances);
    const std::span all(lengths);
    return BlockCodes{Code(all.first(literals)), Code(all.subspan(literals))};
}

bool skipCodedBlock(Bits& bits, const BlockCodes& codes) {
    while (!bits.isBeyondEnd()) {
        // Both codes and their extra bits fit into one look: 15 + 5 + 15 + 13.
        const std::uint64_t ahead = bits.peek();
        const Symbol literal = codes.literals.find(ahead);
        if (literal.length == 0)
            return false;
        if (literal.number <= kEndOfBlock) {
            bits.skip(literal.length);
            if (literal.number == kEndOfBlock)
                return true;
            continue;
        }
        const unsigned step = literal.number - 257U;
        unsigned count = literal.length + (step < 8 || step == 28 ? 0 : step / 4 - 1);
        const Symbol distance = codes.distances.find(ahead >> count);
        if (distance.length == 0)
            return false;
        count += distance.length + (distance.number < 4 ? 0U : distance.number / 2U - 1U);
        bits.skip(count);
    }
    return false;
}

bool skipStoredBlock(Bits& bits) {
    bits.skipToByte();
    bits.skip(std::uint64_t{bits.take(16)} * 8 + 16);
    return !bits.isBeyondEnd();
}

bool skipBlock(Bits& bits, unsigned kind) {
    static const BlockCodes fixed = fixedCodes();
    if (kind == 0)
        return skipStoredBlock(bits);
    if (kind == 1)
        return skipCodedBlock(bits, fixed);
    const auto codes = kind == 2 ? readCodes(bits) : std::nullopt;
    return codes && skipCodedBlock(bits, *codes);
}

struct StreamEnd {
    std::uint64_t lastBlock = 0; // in bits
    std::uint64_t end = 0;
};

std::optional<StreamEnd> findEnd(Bits bits) {
    for (;;) {
        const std::uint64_t block = bits.position();
        const bool isLast = bits.take(1) != 0;
        if (!skipBlock(bits, bits.take(2)) || bits.isBeyondEnd())
            return std::nullopt;
        if (isLast)
            return StreamEnd{block, bits.position()};
    }
}

} // namespace

bool openDeflateStream(std::vector<std::byte>& stream) {
    const std::size_t size = stream.size();
    stream.resize(size + kOpeningRoom);
    const auto found = findEnd(Bits(stream.data(), size));
    if (!found)
        return false;
    stream[found->lastBlock / 8] &= ~(std::byte{1} << found->lastBlock % 8);
    // An empty stored block: three bits of 0, zeros up to the byte's border, and the length 0 twice.
    stream.resize((found->end + 3 + 7) / 8);
    for (const int byte : {0, 0, 0xff, 0xff})
        stream.push_back(static_cast<std::byte>(byte));
    return true;
}

std::uint32_t combineAdler32(std::uint32_t first, std::uint32_t second, std::uint64_t secondLength) {
    constexpr std::uint64_t kBase = 65521;
    const std::uint64_t before = (first & 0xffff) + kBase - 1;
    const std::uint64_t low = before + (second & 0xffff);
    const std::uint64_t high = (first >> 16) + (second >> 16) + secondLength % kBase * (before % kBase);
    return static_cast<std::uint32_t>(high % kBase << 16 | low % kBase);
}

} // namespace kitwell::platform
