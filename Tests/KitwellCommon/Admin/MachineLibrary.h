#pragma once

#include "KitwellCommon/KitwellCommon.h"
#include "KitwellPlatform/Files/SearchPathsForTests.h"
#include "Support/Harness.h"

namespace kitwell::test {

// A test whose machine's Library stands in its private home.
class InMachineLibrary : public InTestHome {
protected:
    InMachineLibrary() { platform::setMachineLibraryForTests(home.path("Library")); }
    ~InMachineLibrary() override { platform::setMachineLibraryForTests(""); }

    // Puts the bytes there, whatever stands there.
    void writeSettings(const std::string& text) const {
        std::filesystem::create_directories(KWSPathHelper::dirPath());
        std::filesystem::remove_all(KWSPathHelper::filePath());
        std::ofstream(KWSPathHelper::filePath()) << text;
    }
    std::string settings() const {
        std::ifstream file(KWSPathHelper::filePath());
        return {std::istreambuf_iterator<char>(file), {}};
    }
};

} // namespace kitwell::test
