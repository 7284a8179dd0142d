#include "KitwellPlatform/Machine/Machine.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <optional>
#include <sha2.h>
#include <span>

#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Machine/Environment.h"
#include "KitwellPlatform/Machine/MachineForTests.h"
#include "KitwellPlatform/Values/Text.h"

namespace kitwell::platform {

namespace {

constexpr std::size_t kMaxFileBytes = 64U << 10;

using Identifier = std::array<std::uint8_t, 16>;

// What tells the programs of this library from others that derive an identifier of this machine.
constexpr Identifier kApplication = {0x6e, 0x0d, 0x9a, 0x35, 0x8c, 0x51, 0x4b, 0x1f,
                                     0xa7, 0x42, 0x3d, 0xe8, 0x90, 0x17, 0xc6, 0x5b};

std::string& systemFolder() {
    static std::string folder;
    return folder;
}

// Empty when it cannot be read.
std::string contentOf(const std::string& path) {
    const auto content = readFile(systemFolder() + path, kMaxFileBytes);
    return content ? std::string(content->text()) : std::string();
}

std::string firstLineOf(const std::string& path) {
    const std::string content = contentOf(path);
    return content.substr(0, content.find('\n'));
}

std::optional<Identifier> readIdentifier(std::string_view text) {
    Identifier bytes{};
    if (text.size() != 2 * bytes.size())
        return std::nullopt;
    for (std::size_t index = 0; index < bytes.size(); ++index) {
        const char* digits = text.data() + 2 * index;
        if (std::from_chars(digits, digits + 2, bytes[index], 16).ptr != digits + 2)
            return std::nullopt;
    }
    return bytes == Identifier{} ? std::nullopt : std::optional(bytes);
}

using Digest = std::array<std::uint8_t, SHA256_DIGEST_LENGTH>;

Digest sha256(std::span<const std::uint8_t> first, std::span<const std::uint8_t> second) {
    SHA2_CTX state;
    Digest digest;
    ::SHA256Init(&state);
    ::SHA256Update(&state, first.data(), first.size());
    ::SHA256Update(&state, second.data(), second.size());
    ::SHA256Final(digest.data(), &state);
    return digest;
}

// RFC 2104, for a key that is shorter than a block.
Digest keyedDigest(const Identifier& key, const Identifier& message) {
    std::array<std::uint8_t, SHA256_BLOCK_LENGTH> inner;
    std::array<std::uint8_t, SHA256_BLOCK_LENGTH> outer;
    inner.fill(0x36);
    outer.fill(0x5c);
    for (std::size_t index = 0; index < key.size(); ++index) {
        inner[index] ^= key[index];
        outer[index] ^= key[index];
    }
    return sha256(outer, sha256(inner, message));
}

std::string uuidText(std::span<const std::uint8_t> bytes) {
    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        if (text.size() == 8 || text.size() == 13 || text.size() == 18 || text.size() == 23)
            text += '-';
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xFU];
    }
    return text;
}

// The value of a line NAME=value or NAME="value"; empty when there is none.
std::string assignedValue(const std::string& content, const std::string& name) {
    const std::string text = "\n" + content;
    const std::string beginning = "\n" + name + "=";
    const std::size_t start = text.find(beginning);
    if (start == std::string::npos)
        return {};
    const std::size_t value = start + beginning.size();
    std::string found = text.substr(value, text.find('\n', value) - value);
    std::erase_if(found, [](char character) { return character == '"' || character == '\''; });
    return found;
}

// Without control characters, and cut before a character that would not fit; empty when it is no UTF-8.
std::string cleanText(std::string text, std::size_t limit) {
    std::erase_if(text, [](char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F; });
    if (!isValidUtf8(text))
        return {};
    while (text.size() > limit || !isValidUtf8(text))
        text.resize(std::min(text.size() - 1, limit));
    text.erase(0, text.find_first_not_of(' '));
    return text.erase(text.find_last_not_of(' ') + 1);
}

bool isLetterOrDigit(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9');
}

bool isLocaleName(std::string_view name) {
    constexpr std::size_t kLongest = 32;
    return name.size() <= kLongest && name != "C" && name != "POSIX" &&
           std::ranges::all_of(name, [](char character) {
               return isLetterOrDigit(character) || character == '_' || character == '-';
           });
}

} // namespace

std::string Machine::platformUUID() {
    const auto machine = readIdentifier(firstLineOf("/etc/machine-id"));
    if (!machine)
        return {};
    Digest digest = keyedDigest(*machine, kApplication);
    digest[6] = static_cast<std::uint8_t>((digest[6] & 0x0FU) | 0x40U); // the form of a random UUID
    digest[8] = static_cast<std::uint8_t>((digest[8] & 0x3FU) | 0x80U);
    return uuidText(std::span(digest).first<std::tuple_size_v<Identifier>>());
}

OperatingSystemVersion Machine::osVersion() {
    std::string release = contentOf("/etc/os-release");
    if (release.empty())
        release = contentOf("/usr/lib/os-release");
    const std::string text = assignedValue(release, "VERSION_ID");
    OperatingSystemVersion version;
    const char* at = text.data();
    const char* const end = at + text.size();
    for (long* number : {&version.majorVersion, &version.minorVersion, &version.patchVersion}) {
        std::uint32_t read = 0;
        const auto [next, failure] = std::from_chars(at, end, read);
        if (failure != std::errc())
            break;
        *number = static_cast<long>(read);
        if (next == end || *next != '.')
            break;
        at = next + 1;
    }
    return version;
}

std::string Machine::model() {
    constexpr std::size_t kMaxModelBytes = 1023;
    for (const char* path : {"/sys/class/dmi/id/product_name", "/sys/firmware/devicetree/base/model"}) {
        if (std::string name = cleanText(contentOf(path), kMaxModelBytes); !name.empty())
            return name;
    }
    return {};
}

std::string Machine::localeIdentifier() {
    for (const char* name : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (const auto value = environmentVariable(name); value && !value->empty()) {
            std::string identifier = value->substr(0, value->find_first_of(".@"));
            return isLocaleName(identifier) ? identifier : std::string();
        }
    }
    return {};
}

bool Machine::hasInternalBattery() {
    const std::string sources = "/sys/class/power_supply/";
    const auto names = FileManager::namesInFolder(systemFolder() + sources);
    return std::ranges::any_of(names, [&](const std::string& name) {
        return firstLineOf(sources + name + "/type") == "Battery" &&
               firstLineOf(sources + name + "/scope") != "Device";
    });
}

void setSystemFolder(std::string folder) {
    systemFolder() = std::move(folder);
}

} // namespace kitwell::platform
