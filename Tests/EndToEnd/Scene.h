#pragma once

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Applications/RunningApplication.h"
#include "Support/Harness.h"

namespace kitwell::test {

// A private home in which applications launch each other; those that still run at the end of a test are ended
// with it.
struct Scene {
    TestHome home;
    const std::string applications = home.path("data/Kitwell/Applications");

    Scene() { std::filesystem::create_directories(applications); }
    ~Scene() {
        for (const auto& application : platform::RunningApplication::all())
            ::kill(application.processIdentifier, SIGKILL);
    }
    static ChildProcess start(const std::string& name, const std::vector<std::string>& arguments = {}) {
        return ChildProcess::program(
            std::string(APPLICATIONS_FOLDER) + "/" + name + ".app/Contents/Linux/" + name, arguments);
    }
};

} // namespace kitwell::test
