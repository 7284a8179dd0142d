#include <map>
#include <unistd.h>

#include "KitwellCommon/Telemetry/CEPLogGrab.h"
#include "KitwellPlatform/Files/LockedFile.h"
#include "Support/KilledAtSyscall.h"
#include "TelemetryLogs.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::FileManager;

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kLimit = kCEPMaxLogSize;

std::uint64_t sizeOf(const std::string& path) {
    std::error_code missing;
    const auto size = fs::file_size(path, missing);
    return missing ? 0 : size;
}

bool isThere(const std::string& path) {
    return ::access(path.c_str(), F_OK) == 0;
}

} // namespace

class LogProtocol : public TelemetryLogs {
protected:
    // An active log of one event and exactly this size: blanks are what is left of a broken event.
    void makeLog(const std::string& action, std::size_t size) const {
        fs::remove(active);
        ASSERT_EQ(record(action), 0);
        ASSERT_LT(sizeOf(active), size);
        std::ofstream(active, std::ios::app) << std::string(size - sizeOf(active), ' ');
        ASSERT_EQ(sizeOf(active), size);
    }
};

// Writes while no sealed log waits, so that none is ever replaced.
CHILD_BODY(writesEvents) {
    if (CEPLogInit() != 0)
        return 1;
    for (int number = 0; number < 5000; ++number) {
        if (!waitUntil([] { return !isThere(cepLogContext().sealedLogPath); }))
            return 2;
        const std::string id = arguments[0] + "-" + std::to_string(number);
        if (CEPLogEvent("Written", {}, platform::Dictionary{{"id", id}},
                        platform::Array{std::string(600, '<')}) != 0)
            return 3;
    }
    return 0;
}

// Collects when a sealed log waits, each time into a folder of its own; the eager one also collects an active
// log of some size, so that it seals under the writers' hands.
CHILD_BODY(collectsUntilTold) {
    if (CEPLogInit() != 0)
        return 1;
    const std::size_t eagerFrom = arguments[1] == "eager" ? kLimit / 2 : kLimit * 2;
    for (int round = 0; !isThere(arguments[0] + "-end"); ++round) {
        const auto isDue = [&] {
            return isThere(cepLogContext().sealedLogPath) || isThere(arguments[0] + "-end") ||
                   (round % 2 == 0 && sizeOf(cepLogContext().activeLogPath) > eagerFrom);
        };
        if (!waitUntil(isDue))
            return 2;
        const auto lock = platform::LockedFile::lockFile(CEPLogClass::lockFile());
        CEPLogClass collector;
        collector.setLogPath(arguments[0] + "-" + arguments[1] + std::to_string(round));
        fs::create_directory(collector.logPath());
        collector.logGrab();
    }
    return 0;
}

TEST_F(LogProtocol, EveryEventOfManyWritersIsInExactlyOneReport) {
    const std::string reports = home.path("reports");
    std::vector<ChildProcess> collectors;
    std::vector<ChildProcess> writers;
    for (const char* kind : {"patient", "eager"})
        collectors.push_back(ChildProcess::body("collectsUntilTold", {reports, kind}));
    for (int writer = 0; writer < 8; ++writer)
        writers.push_back(ChildProcess::body("writesEvents", {std::to_string(writer)}));
    for (ChildProcess& writer : writers)
        EXPECT_EQ(writer.wait(std::chrono::seconds(50)), 0);
    writeFile(reports + "-end", "");
    for (ChildProcess& collector : collectors)
        EXPECT_EQ(collector.wait(), 0);

    std::vector<std::string> paths = collect();
    for (const auto& entry : fs::recursive_directory_iterator(home.path())) {
        if (entry.path().string().starts_with(reports + "-") && entry.path().extension() == ".xml")
            paths.push_back(entry.path());
    }
    EXPECT_GE(paths.size(), 6U) << "too few rotations to tell anything";
    EXPECT_TRUE(areWellFormed(paths));
    std::map<std::string, int> counts;
    const std::string text = together(paths);
    constexpr std::string_view kBefore = "<options id=\"";
    for (std::size_t at = 0; (at = text.find(kBefore, at)) != std::string::npos; at += kBefore.size())
        ++counts[text.substr(at + kBefore.size(), text.find('"', at + kBefore.size()) - at - kBefore.size())];
    EXPECT_EQ(counts.size(), 40000U);
    for (const auto& [id, count] : counts)
        ASSERT_EQ(count, 1) << id;
    EXPECT_EQ(names(), std::vector<std::string>{"CorvalenKitwell"});
}

TEST_F(LogProtocol, ALogIsSealedBeyondItsLimitInThePlaceOfOneThatWaits) {
    makeLog("First", kLimit);
    EXPECT_EQ(record("AtLimit"), 0);
    EXPECT_FALSE(isThere(sealed));
    makeLog("Replaced", kLimit + 1);
    EXPECT_EQ(record("AfterFirst"), 0);
    EXPECT_EQ(fs::status(sealed).permissions(), static_cast<fs::perms>(0444));
    EXPECT_EQ(fs::status(active).permissions(), static_cast<fs::perms>(0644));
    makeLog("Sealed", kLimit + 1);
    EXPECT_EQ(record("Active"), 0);
    const auto reports = collect();
    EXPECT_EQ(reports.size(), 2U);
    EXPECT_TRUE(areWellFormed(reports));
    for (const auto& [action, count] :
         {std::pair{"\"Replaced\"", 0U}, {"\"Sealed\"", 1U}, {"\"Active\"", 1U}})
        EXPECT_EQ(occurrences(together(reports), action), count) << action;
}

TEST_F(LogProtocol, AWriterKilledAnywhereLosesNothingThatWasAnswered) {
    const std::string answered = home.path("answered");
    for (const auto& [sizeBefore, leastCalls] :
         {std::pair{std::size_t{0}, 20U}, {std::size_t{4096}, 5U}, {kLimit + 1, 30U}}) {
        SCOPED_TRACE(sizeBefore);
        const auto prepare = [&, size = sizeBefore] {
            clear();
            fs::remove(answered);
            if (size > 0)
                makeLog("Before", size);
        };
        const auto work = [&] {
            if (record("Killed") == 0)
                writeFile(answered, "");
        };
        const auto check = [&, size = sizeBefore] {
            EXPECT_EQ(record("After"), 0);
            std::vector<std::string> reports = collect();
            EXPECT_EQ(reports, collect()) << "one collection did not take all";
            EXPECT_TRUE(areWellFormed(reports));
            EXPECT_EQ(names(), std::vector<std::string>{"CorvalenKitwell"});
            const std::string text = together(reports);
            EXPECT_EQ(occurrences(text, "\"Before\""), size > 0 ? 1U : 0U);
            EXPECT_EQ(occurrences(text, "\"After\""), 1U);
            EXPECT_LE(occurrences(text, "\"Killed\""), 1U);
            EXPECT_GE(occurrences(text, "\"Killed\""), isThere(answered) ? 1U : 0U);
        };
        EXPECT_GE(killAtEachSyscall(prepare, work, check), leastCalls);
    }
}

TEST_F(LogProtocol, ACollectorKilledAnywhereLosesNothing) {
    const auto prepare = [&] {
        clear();
        ASSERT_EQ(record("Sealed"), 0);
        fs::rename(active, sealed); // as its killed sealer left it
        ASSERT_EQ(record("Active"), 0);
    };
    const auto check = [&] {
        EXPECT_EQ(record("After"), 0);
        (void)collect();
        const auto reports = collect();
        EXPECT_TRUE(areWellFormed(reports));
        EXPECT_EQ(names(), std::vector<std::string>{"CorvalenKitwell"});
        EXPECT_EQ(FileManager::namesInFolder(folder + "/CorvalenKitwell").size(), reports.size());
        const std::string text = together(reports);
        for (const char* action : {"\"Sealed\"", "\"Active\"", "\"After\""})
            EXPECT_EQ(occurrences(text, action), 1U) << action;
    };
    EXPECT_GE(killAtEachSyscall(
                  prepare, [] { (void)CEPLogClass().logGrab(); }, check),
              30U);
}
