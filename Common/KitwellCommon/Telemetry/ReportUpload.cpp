#include "KitwellCommon/Telemetry/ReportUpload.h"

#include "KitwellCommon/Telemetry/Reports.h"
#include "KitwellPlatform/Applications/Task.h"

namespace kitwell {

namespace {

// What the script works on comes as arguments: to the shell, a path is only a path. The two programs are told
// so as well: no name is a remote host, an escape, or the end of a form field. A report that another upload
// is busy with is left to that, and no file of settings changes what is done.
constexpr char kScript[] = R"(archive=$1 report=$2 endpoint=$3 output=$4
exec 9< "$report" && flock -n 9 || exit
field=${archive//\\/\\\\}
field=${field//\"/\\\"}
tar --force-local --no-unquote --transform='s|.*|Report.xml|' -czf "$archive" -- "$report" &&
curl -q -v -X POST -H 'Content-Type: multipart/form-data' --form "data=@\"$field\"" -- "$endpoint" > "$output" &&
rm -f -- "$archive" && rm -f -- "$report")";

} // namespace

void startUpload(const std::string& reportPath, const std::string& responsePath) {
    (void)platform::Task::startDetached("/bin/bash", {"-c", kScript, "kitwell-upload", reportPath + ".tar.gz",
                                                      reportPath, reportEndpoint(), responsePath});
}

} // namespace kitwell
