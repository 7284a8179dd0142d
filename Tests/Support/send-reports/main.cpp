// Collects the logs of usage and sends the reports to another endpoint than the suite's own. Never installed.

#include <cstdio>

#include "KitwellCommon/Telemetry/CEPLogClass.h"
#include "KitwellCommon/Telemetry/ReportEndpointForTests.h"

int main(int count, char** arguments) {
    kitwell::CEPLogClass* telemetry = kitwell::CEPLogClass::sharedInstance();
    if (count != 2 || !telemetry) {
        std::fputs(telemetry ? "usage: send-reports ENDPOINT\n" : "telemetry is off\n", stderr);
        return 1;
    }
    kitwell::setReportEndpoint(arguments[1]);
    telemetry->sendCEP();
}
