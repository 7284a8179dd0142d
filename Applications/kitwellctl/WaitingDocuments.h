#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "KitwellPlatform/Values/Result.h"

namespace kitwell::applications {

// A document of usage events that waits for its collection or its upload.
struct WaitingDocument {
    std::string_view kind; // of a log: "active", "older" or "sealed"; else "report"
    std::string path;

    bool isReport() const { return kind == "report"; }
};

// The places of the three logs, whether they are there or not. CEPLogInit comes first.
std::vector<WaitingDocument> logPlaces();
// The logs and reports that are there.
std::vector<WaitingDocument> waitingDocuments();

// A document as its upload would be. An open log is closed here, in memory only; each line stands where it
// does in the file.
struct WholeDocument {
    std::string text;
    std::vector<std::size_t> brokenLines; // where something begins that is no whole event, and is left out
    bool wasClosed = true;
};

// Waits for writers.
platform::Result<WholeDocument> readWhole(const std::string& path);

// Removes every log, report, archive and answer. Answers how many files that were.
platform::Result<std::size_t> removeAllThatWaits();

} // namespace kitwell::applications
