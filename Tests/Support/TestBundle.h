#pragma once

#include <string>

namespace kitwell::test {

// Makes the application bundle "<folder>/<name>.app" with this identifier, whose executable is this test
// program, and answers the executable's path: ChildProcess::program(path, {"--child", "body"}) runs a body as
// that application. `moreKeys` go into its property list as they stand.
std::string makeTestBundle(const std::string& folder, const std::string& name, const std::string& identifier,
                           const std::string& moreKeys = "");

// The bundle's own path, "<folder>/<name>.app".
std::string testBundlePath(const std::string& folder, const std::string& name);

} // namespace kitwell::test
