#include "KitwellCommon/Telemetry/ReportDocument.h"
#include "TelemetryLogs.h"

using namespace kitwell;
using namespace kitwell::test;
using platform::Array;
using platform::Dictionary;

namespace {

const std::string kClosing = "</CepCustomData>\n</CorvalenProblemReport>\n";

std::string mended(std::string document) {
    const DocumentState state = documentState(document);
    for (const DocumentPart& part : state.brokenParts)
        document.replace(part.start, part.size, std::string(part.size, ' '));
    document += state.missingClosing;
    EXPECT_TRUE(documentState(document).isComplete()) << "mended twice";
    return document;
}

} // namespace

class ReportDocument : public TelemetryLogs {
protected:
    std::string header;
    // One of every shape, as they are written.
    std::vector<std::string> events() {
        std::vector<std::string> all;
        const auto add = [&](const platform::Value& attributes, const platform::Value& options) {
            std::filesystem::remove(active);
            EXPECT_EQ(CEPLogEvent("A\xC3\xA9", attributes, options, {}), 0);
            const std::string document = contentOf(active);
            const auto start = document.find("<event ");
            header = document.substr(0, start);
            all.push_back(document.substr(start));
        };
        const Dictionary lookalike{{"timestamp", "2026-11-16 19:40:05.123"}, {"tool", "x"}};
        add({}, {});
        add({}, Dictionary{{"k", "v"}});
        add(Dictionary{{"c", Array{1}}}, Dictionary{{"event", Dictionary{{"event", Array{1}}}}});
        add({}, Array{Dictionary{{"event", lookalike}, {"a", Dictionary{{"event", lookalike}}}}});
        return all;
    }
};

TEST_F(ReportDocument, OfWhatIsCutAtAnyByteNothingStaysAndWholeEventsDo) {
    const auto all = events();
    const std::string within = header + "<event timestamp=\"\">\n\t" + all[0] + "</event>\n";
    EXPECT_EQ(mended(within), within + kClosing) << "a whole event stands within another";
    const std::string whole = header + all[0] + all[1] + all[2] + all[3];
    ASSERT_EQ(mended(whole), whole + kClosing);
    std::vector<std::string> paths;
    const auto check = [&](const std::string& half, const std::string& after, const std::string& kept) {
        const std::string document = mended(whole + half + after);
        ASSERT_EQ(document.substr(0, whole.size()), whole);
        const std::string rest = document.substr(whole.size());
        ASSERT_EQ(rest.substr(std::min(rest.find_first_not_of(' '), rest.size())), kept + kClosing)
            << half << "|" << after;
        paths.push_back(home.path(std::to_string(paths.size())));
        writeFile(paths.back(), document);
    };
    for (const std::string& cut : {all[0], all[1], all[2], all[3], kClosing}) {
        for (std::size_t length = 1; length < cut.size(); ++length) {
            const std::string half = cut.substr(0, length);
            for (const std::string& event : all)
                check(half, event, event);
            check(half, half + all[2], all[2]);
            check(half, all[1] + kClosing, all[1]);
            // What is left of a closing goes on where it was cut; behind half an event it begins anew.
            for (std::size_t left = 0; left <= kClosing.size() && cut != kClosing; left += 3)
                check(half, kClosing.substr(0, left), "");
        }
    }
    check(kClosing.substr(0, 20), "", "");
    EXPECT_TRUE(areWellFormed(paths));
}
