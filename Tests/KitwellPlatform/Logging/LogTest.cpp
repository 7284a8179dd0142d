#include <sys/stat.h>

#include "KitwellPlatform/Logging/Log.h"
#include "Support/Harness.h"

using namespace kitwell::platform;
using namespace kitwell::test;

// Logs to the file of its argument; with a second argument as the journal's stream.
CHILD_BODY(logger) {
    if (!std::freopen(arguments[0].c_str(), "w", stderr))
        return 1;
    if (arguments.size() > 1) {
        struct stat status {};
        ::fstat(STDERR_FILENO, &status);
        ::setenv("JOURNAL_STREAM",
                 (std::to_string(status.st_dev) + ":" + std::to_string(status.st_ino)).c_str(), 1);
    } else {
        ::setenv("JOURNAL_STREAM", "1:1", 1); // inherited from a parent that ran under the journal
    }
    writeLogLine("one\nline\x1b[2J\x7f\xC2\x9B ü");
    writeLogLine("two");
    return 0;
}

TEST(Log, ALineStaysOneLineAndControlCharactersDoNotReachTheTerminal) {
    const TestHome home;
    const auto linesOf = [&](const std::vector<std::string>& arguments) {
        EXPECT_EQ(ChildProcess::body("logger", arguments).wait(), 0);
        std::ifstream file(arguments[0]);
        std::vector<std::string> lines;
        for (std::string line; std::getline(file, line);)
            lines.push_back(line);
        return lines;
    };
    const auto plain = linesOf({home.path("log")});
    ASSERT_EQ(plain.size(), 2U);
    EXPECT_NE(plain[0].find("]: one\\nline\\x1b[2J\\x7f\\xc2\\x9b ü"), std::string::npos) << plain[0];
    EXPECT_EQ(linesOf({home.path("journal"), "journal"})[1], "<6>two");
}
