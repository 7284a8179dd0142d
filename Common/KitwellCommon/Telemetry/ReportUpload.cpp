#include "KitwellCommon/Telemetry/ReportUpload.h"

#include "KitwellCommon/Telemetry/ReportEndpointForTests.h"
#include "KitwellPlatform/Applications/Task.h"
#include "KitwellPlatform/Files/SearchPaths.h"

namespace kitwell {

namespace {

// What the script works on comes as arguments: to the shell, a path is only a path. The two programs are told
// so as well: no name is a remote host, an escape, or the end of a form field.
constexpr char kScript[] = R"(archive=$1 report=$2 endpoint=$3 output=$4
field=${archive//\\/\\\\}
field=${field//\"/\\\"}
tar --force-local --no-unquote --transform='s|.*|Report.xml|' -czf "$archive" -- "$report" &&
curl -v -X POST -H 'Content-Type: multipart/form-data' --form "data=@\"$field\"" -- "$endpoint" > "$output" &&
rm -f -- "$archive" && rm -f -- "$report")";

// Never destroyed: a detached thread may still read it while the process ends.
std::string& chosenEndpoint() {
    static auto& instance = *new std::string(KITWELL_TELEMETRY_ENDPOINT);
    return instance;
}

} // namespace

void startUpload(const std::string& reportPath, const std::string& responsePath) {
    (void)platform::Task::startDetached("/bin/bash", {"-c", kScript, "kitwell-upload", reportPath + ".tar.gz",
                                                      reportPath, reportEndpoint(), responsePath});
}

std::string uploadResponsePath() {
    return platform::SearchPaths::userLibrary() + "/Logs/cvl.kitwell.ceplog.log";
}

const std::string& reportEndpoint() {
    return chosenEndpoint();
}

void setReportEndpoint(const std::string& url) {
    chosenEndpoint() = url;
}

} // namespace kitwell
