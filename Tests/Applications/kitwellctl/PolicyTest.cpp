// The policy as an administrator meets it, on a machine of its own.

#include <cctype>
#include <set>
#include <sys/stat.h>

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Machine/Users.h"
#include "Support/Harness.h"
#include "Support/PrivateMachine.h"

using namespace kitwell;
using namespace kitwell::test;

namespace {

using Words = std::vector<std::string>;

const std::string kProgram = std::string(PROGRAMS_FOLDER) + "/kitwellctl";
const std::string kPolicy = "/Library/Application Support/com.corvalen.kitwell/settings.conf";

struct Reply {
    int exitCode;
    std::string output;
};

Reply run(Words words, const Words& environment = {}) {
    words.insert(words.begin(), {"--json", "policy"});
    ChildProcess program = ChildProcess::program(kProgram, words, environment);
    std::string output;
    while (const auto line = program.readLine())
        output += *line + "\n";
    return {program.wait(), output};
}

// Every text in the programs and libraries that could name a variable is one, and has this value.
Words everyVariable(const std::string& value) {
    const std::string build = std::filesystem::path(kProgram).parent_path().parent_path();
    std::set<std::string> names{"HOME", "LIBRARY", "KITWELL_LIBRARY", "XDG_DATA_DIRS", "XDG_CONFIG_DIRS"};
    for (const std::string& file :
         {kProgram, build + "/Common/libKitwellPlatform.so", build + "/Common/libKitwellCommon.so"}) {
        std::ifstream stream(file);
        std::string name;
        for (std::istreambuf_iterator<char> byte(stream), end; byte != end; ++byte) {
            if (std::isupper(static_cast<unsigned char>(*byte)) || *byte == '_') {
                name += *byte;
                continue;
            }
            if (name.size() > 2 && name.size() < 40 && !name.starts_with("LD_"))
                names.insert(name);
            name.clear();
        }
    }
    EXPECT_TRUE(names.contains("XDG_DATA_HOME") && names.contains("KITWELL_EXTENDED_LOGGING"));
    Words environment;
    for (const std::string& name : names)
        environment.push_back(name + "=" + value);
    return environment;
}

struct Step {
    Words words;
    int exitCode;
    Words expected; // in the output, in this order
};

// Says what was not as expected; false then.
bool plays(const std::vector<Step>& steps) {
    for (const Step& step : steps) {
        const Reply seen = run(step.words);
        std::size_t at = 0;
        for (const std::string& text : step.expected)
            at = at == seen.output.npos ? at : seen.output.find(text, at);
        if (seen.exitCode == step.exitCode && at != seen.output.npos)
            continue;
        say(testing::PrintToString(step.words) + " answered " + std::to_string(seen.exitCode) + ": " +
            seen.output);
        return false;
    }
    return true;
}

std::string content() {
    std::ifstream file(kPolicy);
    return {std::istreambuf_iterator<char>(file), {}};
}

bool setsAndTells() {
    const std::string list = R"("WhiteToolsList")";
    return plays({
        {{"check"}, 0, {"[]"}},
        {{"show"}, 0, {"[]"}},
        {{"clear"}, 0, {"{}"}},
        {{"explain", "Clock"}, 0, {R"("allowed":true)", "set no list"}},
        {{"set-tools", "clock, Nots"}, 2, {"no tool is named 'Nots'; did you mean 'Notes'?"}},
        {{"set-tools", "Clock, business-toolset-only"}, 2, {"business-toolset-only"}},
        {{"disable-updates", "perhaps"}, 2, {"error"}},
        {{"show"}, 0, {"[]"}},
        {{"set-tools", "clock, Notes"}, 0, {"done"}},
        {{"disable-updates", "on"}, 0, {"done"}},
        {{"check"}, 0, {"[]"}},
        {{"show"}, 0, {list, R"(["clock","Notes"])", "allowed: Clock, Notes", "UpdatesDisabled", "true"}},
        {{"explain", "NOTES"}, 0, {"com.corvalen.kitwell.Notes", R"("allowed":true)"}},
        {{"explain", "com.corvalen.kitwell.Counter"}, 0, {R"("allowed":false)", "does not name it"}},
        {{"explain", "Contr"}, 0, {R"("identifier":null,"allowed":false)", "'Counter'"}},
        {{"set-tools", "Clock,,Notes"}, 0, {R"("done":"allowed: Clock, Notes")"}},
        {{"check"}, 0, {"[]"}},
        {{"set-tools", ","}, 0, {"no tool is allowed"}},
        {{"set-tools", "business-toolset-only"}, 0, {"done"}},
        {{"explain", "RadioTuner"}, 0, {R"("allowed":false)", "none of the tools for business"}},
        {{"explain", "Clock"}, 0, {R"("allowed":true)", "one of the tools for business"}},
        {{"clear"}, 0, {"done"}},
        {{"disable-updates", "off"}, 0, {"done"}},
        {{"show"}, 0, {R"("key":"UpdatesDisabled","value":false)"}},
    });
}

bool findsMistakes() {
    const struct {
        std::string text;
        Words findings;
    } rows[] = {
        {"{\n  \"UpdatesDisabled\": yes\n}", {R"("line":2,"column":22,)", "not JSON"}},
        {"[]", {"no JSON object"}},
        {"{\"UpdatesDisabled\": 1,\n \"UpdatesDisabled\": true}", {R"("line":2,"column":2,)", "twice"}},
        {R"({"WhiteToolList": [], "UpdatesDisabled": "on"})",
         {"'WhiteToolList'; did you mean 'WhiteToolsList'?", "neither true nor false"}},
        {R"({"WhiteToolsList": ["Clok", 7, ""]})", {"did you mean 'Clock'", "no text"}},
        {R"({"WhiteToolsList": ["Clock", "business-toolset-only"]})", {"do not count"}},
        {R"({"WhiteToolsList": []})", {"empty"}},
        {R"({"WhiteToolsList": true})", {"not an array"}},
    };
    for (const auto& row : rows) {
        std::ofstream(kPolicy) << row.text;
        if (!plays({{{"check"}, 1, row.findings}}))
            return false;
    }
    if (!plays({{{"show"}, 0, {"no tool is allowed"}}, {{"explain", "Clock"}, 0, {"false", "is no list"}}}))
        return false;
    std::ofstream(kPolicy) << "{\"deep\x7F\": " << std::string(511, '[') << std::string(511, ']') << "}";
    if (!plays({{{"show"}, 0, {R"("key":"deep\u007f","value":[[[)", "]]]"}}}))
        return false;
    std::ofstream(kPolicy) << "{}";
    if (::chmod(kPolicy.c_str(), 0666) != 0 || ::chown(kPolicy.c_str(), 64123, 0) != 0)
        return false;
    return plays(
        {{{"check"}, 1, {"owned by 64123", "written by everybody", "has mode 0666 and group root"}}});
}

// With no file, and with something else in the folder's place.
bool findsMistakesInFolders() {
    const std::string folder = KWSPathHelper::dirPath();
    std::filesystem::remove(kPolicy);
    if (::chmod(folder.c_str(), 0777) != 0 || ::chmod("/Library/Application Support", 0700) != 0)
        return false;
    if (!plays({{{"check"}, 1, {"written by everybody", "has mode 0777", "entered by every user"}}}))
        return false;
    ::chmod("/Library/Application Support", 0775);
    std::filesystem::remove(folder);
    std::ofstream(folder) << "";
    return plays({{{"check"}, 1, {"of the wrong kind", "cannot be read, so there is no policy"}},
                  {{"set-tools", "Clock"}, 1, {"something else than a file"}}}) &&
           std::filesystem::remove(folder);
}

bool setsAsideWhatCannotBeRead() {
    std::filesystem::create_directories(KWSPathHelper::dirPath());
    ::chmod(KWSPathHelper::dirPath().c_str(), 0775);
    std::ofstream(kPolicy) << "no JSON";
    return plays({{{"show"}, 1, {"error"}},
                  {{"explain", "Counter"}, 0, {"true", "cannot be read, so every tool is allowed"}},
                  {{"set-tools", "Clock"}, 0, {"set aside"}}}) &&
           run({"explain", "Notes"}, everyVariable("/tmp")).output.find("\"allowed\":false") !=
               content().npos;
}

bool refusesAnOrdinaryUser() {
    const std::string before = content();
    if (::setgid(64123) != 0 || ::setuid(64123) != 0)
        return false;
    return plays({{{"explain", "Counter"}, 0, {R"("allowed":false)"}},
                  {{"set-tools", "Clock, Counter"}, 1, {"as root"}},
                  {{"disable-updates", "on"}, 1, {"as root"}},
                  {{"clear"}, 1, {"as root"}}}) &&
           content() == before;
}

} // namespace

CHILD_BODY(administersAMachine) {
    if (!platform::administratorsGroup() || !enterPrivateMachine(arguments[0]))
        return kNoPrivateMachine;
    return setsAndTells() && findsMistakes() && findsMistakesInFolders() && setsAsideWhatCannotBeRead() &&
                   refusesAnOrdinaryUser()
               ? 0
               : 1;
}

TEST(KitwellctlPolicy, IsSetCheckedAndExplainedAndAnOrdinaryUserIsRefused) {
    const TestHome home;
    std::string said;
    const int ending = runOnPrivateMachine("administersAMachine", home.path("machine"), said);
    if (ending == kNoPrivateMachine)
        GTEST_SKIP() << "takes root, and a machine of its own";
    EXPECT_EQ(ending, 0) << said;
}

TEST(KitwellctlPolicy, NoVariableOfTheEnvironmentMovesIt) {
    const TestHome home;
    EXPECT_EQ(run({"path"}, everyVariable(home.path())).output, "{\"path\":\"" + kPolicy + "\"}\n");
}
