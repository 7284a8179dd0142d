#pragma once

#include <csignal>

#include "KitwellPlatform/Applications/RunningApplication.h"
#include "Support/TestHome.h"

namespace kitwell::test {

// A private home in which applications launch each other; those that still run at the end of a test are ended
// with it.
struct Scene {
    TestHome home;
    ~Scene() {
        for (const auto& application : platform::RunningApplication::all())
            ::kill(application.processIdentifier, SIGKILL);
    }
};

} // namespace kitwell::test
