#include "KitwellPlatform/Applications/Localization.h"

#include <clocale>
#include <cstdlib>
#include <libintl.h>

#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Machine/Environment.h"

namespace kitwell::platform {

namespace {

// gettext finds a language by the locale's name, but a locale that the system has not generated has none:
// there, LANGUAGE names the language, and the one locale that is always there stands in.
locale_t localeForLanguageAlone() {
    for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
        if (const std::string value = environmentVariable(name).value_or(""); !value.empty()) {
            ::setenv("LANGUAGE", value.c_str(), 1);
            break;
        }
    }
    return ::newlocale(LC_MESSAGES_MASK, "C.UTF-8", nullptr);
}

locale_t userLocale() {
    const locale_t own = ::newlocale(LC_MESSAGES_MASK, "", nullptr);
    return own ? own : localeForLanguageAlone();
}

// Chosen when the library is loaded: later another thread might be reading the environment.
const locale_t kUserLocale = userLocale();

// The user's locale for this thread, while it lives.
class InUserLocale {
public:
    InUserLocale() : before_(::uselocale(kUserLocale)) {}
    InUserLocale(const InUserLocale&) = delete;
    InUserLocale& operator=(const InUserLocale&) = delete;
    ~InUserLocale() { ::uselocale(before_); }

private:
    locale_t before_;
};

} // namespace

std::string localizedString(std::string_view domain, std::string_view key) {
    const std::string catalogue(domain);
    std::string text(key);
    if (text.empty())
        return text; // to gettext, the empty key is the catalogue's own header
    const InUserLocale inUserLocale;
    ::bindtextdomain(catalogue.c_str(), SearchPaths::translations().c_str());
    ::bind_textdomain_codeset(catalogue.c_str(), "UTF-8");
    return ::dgettext(catalogue.c_str(), text.c_str());
}

} // namespace kitwell::platform
