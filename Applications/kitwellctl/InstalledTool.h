#pragma once

#include <functional>
#include <string>
#include <vector>

#include "Answer.h"

namespace kitwell::applications {

// A tool of the suite as its bundle describes it.
struct InstalledTool {
    std::string name;       // the bundle's file name without extension
    std::string identifier; // the bundle identifier
    std::string path;       // the real path, by which a running tool names itself

    bool isRunning() const;

    // In the order of search, each bundle once.
    static std::vector<InstalledTool> all();
};

// Acts on the first tool of this name, upper and lower case alike; a failure when there is none.
Answer forTool(const std::string& name, const std::function<Answer(const InstalledTool&)>& act);

} // namespace kitwell::applications
