#include "Support/TestBundle.h"

#include <filesystem>
#include <fstream>

namespace kitwell::test {

namespace fs = std::filesystem;

std::string testBundlePath(const std::string& folder, const std::string& name) {
    return folder + "/" + name + ".app";
}

std::string makeTestBundle(const std::string& folder, const std::string& name, const std::string& identifier,
                           const std::string& moreKeys) {
    const fs::path contents = fs::path(testBundlePath(folder, name)) / "Contents";
    fs::create_directories(contents / "Linux");
    std::ofstream(contents / "Info.plist")
        << "<?xml version=\"1.0\" encoding=\"UTF-8\"?><plist version=\"1.0\"><dict>"
        << "<key>CFBundleIdentifier</key><string>" << identifier << "</string>"
        << "<key>CFBundleExecutable</key><string>" << name << "</string>" << moreKeys << "</dict></plist>";
    const fs::path executable = contents / "Linux" / name;
    const fs::path self = fs::read_symlink("/proc/self/exe");
    fs::remove(executable);
    std::error_code failure;
    fs::create_hard_link(self, executable,
                         failure); // a symlink would be resolved to this program's own place
    if (failure)
        fs::copy_file(self, executable);
    return executable.string();
}

} // namespace kitwell::test
