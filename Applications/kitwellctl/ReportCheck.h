#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "WaitingDocuments.h"

namespace kitwell::applications {

struct ReportFinding {
    std::size_t line = 0; // 0 when it is of the whole file
    std::string text;
};

// What keeps the document from being a report as it should be: well-formed, with each element of the header
// in its place, and every event with its attributes in their order. An open log need not be closed yet. A
// file that is gone meanwhile has no findings.
std::vector<ReportFinding> checkReport(const WaitingDocument& document);

} // namespace kitwell::applications
