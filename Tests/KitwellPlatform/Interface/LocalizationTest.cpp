#include "KitwellPlatform/Applications/Localization.h"
#include "Support/Harness.h"

using namespace kitwell::platform;
using namespace kitwell::test;

CHILD_BODY(translates) {
    char number[8];
    std::snprintf(number, sizeof number, "%.1f", 0.5);
    say(localizedString("KitwellCommon", "Allow") + "," + localizedString("KitwellCommon", "Not translated") +
        "," + localizedString("KitwellCommon", "") + "," +
        number); // the catalogue's header is not the text ""
    return 0;
}

TEST(Localization, EachLanguageIsFoundHoweverItIsNamedAndAlsoWithoutItsLocale) {
    const std::pair<std::vector<std::string>, std::string> rows[] = {
        {{"LC_ALL=C.UTF-8", "LANGUAGE=de"}, "Erlauben"},
        {{"LC_ALL=", "LC_MESSAGES=", "LANG=fr_FR.UTF-8", "LANGUAGE="}, "Autoriser"},
        {{"LC_ALL=es_MX.UTF-8", "LANG=de_DE.UTF-8", "LANGUAGE="}, "Permitir"},
        {{"LC_ALL=", "LC_MESSAGES=ja_JP.UTF-8", "LANG=de_DE.UTF-8", "LANGUAGE="}, "許可"},
        {{"LC_ALL=de_DE.UTF-8", "LANGUAGE=tlh:fr"}, "Autoriser"},
        {{"LC_ALL=C", "LANGUAGE=de"}, "Allow"},
        {{"LC_ALL=tlh_XX.UTF-8", "LANGUAGE="}, "Allow"},
    };
    for (const auto& [environment, allow] : rows) {
        auto child = ChildProcess::program("/proc/self/exe", {"--child", "translates"}, environment);
        EXPECT_EQ(child.readLine(), allow + ",Not translated,,0.5")
            << environment.front() << environment.back();
    }
}
