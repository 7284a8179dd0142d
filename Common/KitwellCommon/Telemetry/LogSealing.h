#pragma once

#include <string>

#include "KitwellPlatform/Files/AppendFile.h"

namespace kitwell {

// Sealing a log, the one way for writers and collectors. Inside the framework only; any thread.

enum class Sealing {
    Done,
    NameIsGone,  // somebody else moved the log away meanwhile
    AnotherFile, // somebody else began a new log meanwhile
    NoStatus,    // the log, or its path, cannot be looked at, or is no file
    NoPathStatus,
    NotRenamed,
};

// Makes the document whole: blanks its broken parts and writes what is missing of the two closing lines. The
// file is open for appending and locked exclusively. False when that was not possible; a later call goes on.
bool CEPLogCloseReport(platform::AppendFile& file);

// Gives the open log, held exclusively, the sealed name, in the place of a sealed log that still waits; then
// closes the document, makes the file read-only and brings it to the disk.
Sealing sealLog(platform::AppendFile& file, const std::string& path, const std::string& sealedPath);

// Completes a sealed log whose sealer was killed, or found the disk full, before the document was closed.
// True when the document is whole.
bool completeSealedLog(const platform::AppendFile& sealed, const std::string& sealedPath);

} // namespace kitwell
