// Recording, rendering and collecting events beside the same steps made by hand, and beside a database.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <unistd.h>
#include <vector>

#include "KitwellCommon/Telemetry/CEPLog.h"
#include "KitwellCommon/Telemetry/CEPLogClass.h"
#include "KitwellCommon/Telemetry/CEPLogContext.h"
#include "Support/Comparison.h"
#include "Support/Partner.h"
#include "Telemetry/LogByHand.h"

namespace {

using namespace kitwell;
using namespace kitwell::benchmarks;
using platform::Array;
using platform::Dictionary;
using platform::Value;

namespace fs = std::filesystem;

constexpr int kEvents = 5000; // of one round and process: less than seals a log
constexpr int kRounds = 15;
constexpr int kWriters = 4;

const std::string& activeLog() {
    return cepLogContext().activeLogPath;
}

// Seven lines.
void recordEvent() {
    static const Value options = Dictionary{{"format", "png"}, {"delay", 3}, {"sound", true}};
    static const Value details = Dictionary{{"duration", 1.5},
                                            {"area", Dictionary{{"width", 800}, {"height", 600}}},
                                            {"files", Array{"a.png", "b&c.png"}}};
    if (CEPLogEvent("Capture", Value(), options, details) != 0)
        fail("an event was not recorded");
}

// What stands in the log behind its header after one event.
std::string eventBytes() {
    fs::remove(activeLog());
    recordEvent();
    std::ifstream file(activeLog());
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    return text.substr(text.find("<event"));
}

double perEvent(const std::string& log, int count, const std::function<void()>& record) {
    fs::remove(log);
    record(); // makes the file
    const double start = now();
    for (int event = 0; event < count; ++event)
        record();
    return (now() - start) / count;
}

bool compareOneProcess(const PrivateFolder& folder) {
    const std::string bytes = eventBytes();
    const std::string byHand = folder.path("by-hand");
    return compare(
        {"event of 7 lines, one process", "open, flock, fstat, write, close", "us", 1e6, Better::Less, 1.3},
        kRounds, [&] { return perEvent(byHand, kEvents, [&] { appendByHand(byHand, bytes); }); },
        [&] { return perEvent(activeLog(), kEvents, recordEvent); });
}

void runWriter(const std::string& byHand) {
    CEPLogInit();
    const std::string bytes = byHand.empty() ? "" : eventBytes();
    for (;;) {
        waitForGo();
        for (int event = 0; event < kEvents / kWriters; ++event) {
            if (byHand.empty())
                recordEvent();
            else
                appendByHand(byHand, bytes);
        }
        report(now());
    }
}

double roundOf(std::vector<Partner>& writers, const std::string& log) {
    fs::remove(log);
    const double start = now();
    for (Partner& writer : writers)
        writer.go();
    double end = start;
    for (Partner& writer : writers)
        end = std::max(end, writer.hear());
    return (end - start) / kEvents;
}

bool compareFourProcesses(const PrivateFolder& folder) {
    const std::string byHand = folder.path("by-hand");
    std::vector<Partner> floor;
    std::vector<Partner> ours;
    for (int writer = 0; writer < kWriters; ++writer) {
        floor.emplace_back("writer", std::vector<std::string>{byHand});
        ours.emplace_back("writer", std::vector<std::string>{});
    }
    return compare(
        {"event of 7 lines, 4 processes at once", "the same, 4 processes", "us", 1e6, Better::Less, 1.4},
        kRounds, [&] { return roundOf(floor, byHand); }, [&] { return roundOf(ours, activeLog()); });
}

Value manyItems(int count) {
    Dictionary items;
    for (int item = 0; item < count; ++item)
        items.set("item" + std::to_string(item), item);
    return items;
}

// One event a round: over a longer span, other processes would count in.
double recordItems(const Value& items) {
    const double start = now();
    CEPLogEvent("Items", Value(), items, Value());
    return now() - start;
}

bool compareSizes() {
    const Value few = manyItems(1000);
    const Value many = manyItems(10000);
    fs::remove(activeLog());
    return compare(
        {"event of 10,000 items against one of 1,000", "1,000 items", "us", 1e6, Better::Less, 12},
        5 * kRounds, [&] { return recordItems(few); }, [&] { return recordItems(many); });
}

void fillLog() {
    fs::remove(activeLog());
    do
        recordEvent();
    while (fs::file_size(activeLog()) <= kCEPMaxLogSize);
}

bool compareCollections(const PrivateFolder& folder) {
    const std::string sealed = folder.path("sealed.xml");
    const std::string open = folder.path("open.xml");
    fillLog();
    recordEvent(); // seals it
    fs::rename(cepLogContext().sealedLogPath, sealed);
    fillLog();
    fs::rename(activeLog(), open);
    CEPLogClass collector;
    const fs::path reports = folder.path("reports");
    collector.setLogPath(reports);
    const auto prepare = [&](const std::string& first, const std::string& second) {
        fs::remove_all(reports);
        fs::create_directories(reports);
        fs::copy_file(sealed, first); // with its mode
        fs::copy_file(open, second);
        ::sync();
    };
    const auto byHand = [&] {
        const std::string first = folder.path("first"), second = folder.path("second");
        prepare(first, second);
        const double start = now();
        collectByHand(first, reports / "first");
        collectByHand(second, reports / "second");
        return now() - start;
    };
    const auto ours = [&] {
        prepare(cepLogContext().sealedLogPath, activeLog());
        const double start = now();
        collector.logGrab();
        return now() - start;
    };
    return compare(
        {"collecting two logs of 5 MiB", "two copies and renames, fsync each", "ms", 1e3, Better::Less, 1.3},
        kRounds, byHand, ours);
}

void compareWithDatabase(const PrivateFolder& folder) {
    const Comparison row{"event of 7 lines", "SQLite, write-ahead log, one insert", "us", 1e6, Better::Less};
    if (!EventDatabase::isAvailable())
        return printUnavailable(row.work, "SQLite is missing");
    EventDatabase database(folder.path("events.db"));
    const std::string bytes = eventBytes();
    printPeer(
        row, kRounds, [&] { return perEvent(folder.path("none"), kEvents, [&] { database.insert(bytes); }); },
        [&] { return perEvent(activeLog(), kEvents, recordEvent); });
}

} // namespace

int main(int count, char** arguments) {
    if (count > 2 && std::string(arguments[1]) == "--role") {
        runWriter(count > 3 ? arguments[3] : "");
        return 0;
    }
    const PrivateFolder folder;
    CEPLogInit();
    printHeading("Telemetry");
    bool kept = compareOneProcess(folder);
    kept = compareFourProcesses(folder) && kept;
    kept = compareSizes() && kept;
    kept = compareCollections(folder) && kept;
    compareWithDatabase(folder);
    return kept ? 0 : 1;
}
