#include "KitwellPlatform/Applications/Localization.h"
#include "Support/Harness.h"

using namespace kitwell::platform;
using namespace kitwell::test;

CHILD_BODY(translates) {
    for (const char* key : {"Allow", "Quit", "A text without translation", ""})
        say(localizedString("KitwellCommon", key));
    char number[8];
    std::snprintf(number, sizeof number, "%.1f", 0.5);
    say(number);
    return 0;
}

TEST(Localization, EachLanguageIsFoundHoweverItIsNamedAndAlsoWithoutItsLocale) {
    const struct {
        std::vector<std::string> environment;
        const char* allow;
        const char* quit;
    } rows[] = {
        {{"LC_ALL=C.UTF-8", "LANGUAGE=de"}, "Erlauben", "Beenden"},
        {{"LC_ALL=", "LC_MESSAGES=", "LANG=fr_FR.UTF-8", "LANGUAGE="}, "Autoriser", "Quitter"},
        {{"LC_ALL=es_MX.UTF-8", "LANG=de_DE.UTF-8", "LANGUAGE="}, "Permitir", "Salir"},
        {{"LC_ALL=", "LC_MESSAGES=ja_JP.UTF-8", "LANG=de_DE.UTF-8", "LANGUAGE="}, "許可", "終了"},
        {{"LC_ALL=de_DE.UTF-8", "LANGUAGE=tlh:fr"}, "Autoriser", "Quitter"},
        {{"LC_ALL=C", "LANGUAGE=de"}, "Allow", "Quit"},
        {{"LC_ALL=tlh_XX.UTF-8", "LANGUAGE="}, "Allow", "Quit"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.environment.front() + " " + row.environment.back());
        auto child = ChildProcess::program("/proc/self/exe", {"--child", "translates"}, row.environment);
        EXPECT_EQ(child.readLine(), row.allow);
        EXPECT_EQ(child.readLine(), row.quit);
        EXPECT_EQ(child.readLine(), "A text without translation");
        EXPECT_EQ(child.readLine(), "") << "the catalogue's header shows";
        EXPECT_EQ(child.readLine(), "0.5") << "numbers are written as the language does";
    }
}
