#include "KitwellPlatform/Applications/Localization.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <vector>

#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileUrl.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Machine/Environment.h"
#include "KitwellPlatform/Values/Text.h"

// The C library reads such catalogues too, but in a locale that the system has not generated it learns the
// language from the environment alone, which must not be changed under other threads.

namespace kitwell::platform {

namespace {

constexpr std::size_t kMaxCatalogueBytes = 1U << 20;

// A catalogue as msgfmt compiles it, in the machine's own byte order: a header, and two tables of lengths and
// places, of the keys and of their texts. Whatever is said to lie outside the file is empty.
class Catalogue {
public:
    explicit Catalogue(std::string_view bytes) : bytes_(bytes) {}

    std::optional<std::string> find(std::string_view key) const {
        constexpr std::uint32_t kMagic = 0x950412de;
        const std::uint32_t count = number(0) == kMagic ? number(8) : 0;
        for (std::size_t index = 0; index < count && index * kRowSize < bytes_.size(); ++index) {
            if (text(number(12) + index * kRowSize) == key)
                return std::string(text(number(16) + index * kRowSize));
        }
        return std::nullopt;
    }

private:
    static constexpr std::size_t kRowSize = 8;

    std::uint32_t number(std::size_t at) const {
        std::uint32_t value = 0;
        if (at < bytes_.size() && bytes_.size() - at >= sizeof value)
            std::memcpy(&value, bytes_.data() + at, sizeof value);
        return value;
    }
    std::string_view text(std::size_t row) const {
        const std::size_t length = number(row);
        const std::size_t start = number(row + 4);
        return start <= bytes_.size() && length <= bytes_.size() - start ? bytes_.substr(start, length)
                                                                         : std::string_view();
    }

    std::string_view bytes_;
};

std::string firstOf(std::initializer_list<const char*> variables) {
    for (const char* name : variables) {
        if (std::string value = environmentVariable(name).value_or(""); !value.empty())
            return value;
    }
    return {};
}

// The folders of "de_AT.UTF-8@euro:fr": "de_AT", "de", "fr".
std::vector<std::string> foldersOf(std::string_view languages) {
    std::vector<std::string> folders;
    while (!languages.empty()) {
        const std::string_view name = languages.substr(0, languages.find(':'));
        languages.remove_prefix(std::min(name.size() + 1, languages.size()));
        const std::string_view withCountry = name.substr(0, name.find_first_of(".@"));
        const std::string_view alone = withCountry.substr(0, withCountry.find('_'));
        folders.emplace_back(withCountry);
        if (alone != withCountry)
            folders.emplace_back(alone);
    }
    std::erase_if(folders, [](const std::string& name) { return !isPlainFileName(name); });
    return folders;
}

// In a locale without a language, LANGUAGE does not count.
std::vector<std::string> languageFolders() {
    const std::string locale = firstOf({"LC_ALL", "LC_MESSAGES", "LANG"});
    if (locale.empty() || locale == "C" || locale == "POSIX")
        return {};
    const std::string languages = firstOf({"LANGUAGE"});
    return foldersOf(languages.empty() ? locale : languages);
}

} // namespace

std::string localizedString(std::string_view domain, std::string_view key) {
    std::string untranslated(key);
    if (key.empty())
        return untranslated; // in a catalogue, the empty key is its own header
    const std::string translations = SearchPaths::translations();
    for (const std::string& folder : languageFolders()) {
        const auto bytes =
            readFile(formatText("%@/%@/LC_MESSAGES/%@.mo", translations, folder, domain), kMaxCatalogueBytes);
        auto text = bytes ? Catalogue(bytes->text()).find(key) : std::nullopt;
        if (text && !text->empty())
            return *std::move(text);
    }
    return untranslated;
}

} // namespace kitwell::platform
