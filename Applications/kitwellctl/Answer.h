#pragma once

#include <string>
#include <utility>

#include "KitwellPlatform/Values/Value.h"

namespace kitwell::applications {

enum class ExitCode { Done = 0, Failed = 1, Usage = 2 };

// What a command has to say, before it is put into words for a person or for a machine.
struct Answer {
    ExitCode exitCode = ExitCode::Done;
    // Of a command that lists: an array of dictionaries with the same keys. Of one that acts: a dictionary.
    platform::Value data;
    // What was done, or why it was not.
    std::string sentence;

    static Answer list(platform::Array rows) { return {ExitCode::Done, std::move(rows), ""}; }
    // Of a check: a failure with its findings, or done with `allIsWell` where there are none.
    static Answer findings(platform::Array rows, std::string allIsWell) {
        return {rows.empty() ? ExitCode::Done : ExitCode::Failed, std::move(rows), std::move(allIsWell)};
    }
    // Of one that describes something: each entry stands on a line of its own, rows in a table.
    static Answer facts(platform::Dictionary data) { return {ExitCode::Done, std::move(data), ""}; }
    static Answer done(std::string sentence, platform::Dictionary data) {
        return {ExitCode::Done, std::move(data), std::move(sentence)};
    }
    static Answer failed(std::string reason) { return failure(ExitCode::Failed, std::move(reason)); }
    static Answer usage(std::string reason) { return failure(ExitCode::Usage, std::move(reason)); }

private:
    static Answer failure(ExitCode code, std::string reason) {
        platform::Dictionary data{{"error", reason}};
        return {code, std::move(data), std::move(reason)};
    }
};

} // namespace kitwell::applications
