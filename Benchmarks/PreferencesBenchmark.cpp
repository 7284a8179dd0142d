// A durable read-modify-write of one key beside the same steps made by hand. Works in a folder of its own
// inside the current one, which should stand on a disk: in memory there is nothing to bring there.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Files/LockedFile.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "KitwellPlatform/Values/PropertyList.h"
#include "Support/Comparison.h"

namespace {

using namespace kitwell::platform;

constexpr char kSuite[] = "group.benchmark";
constexpr char kKey[] = "tool 20";
constexpr int kRounds = 200;

void check(bool succeeded, const char* doing) {
    if (!succeeded) {
        std::perror(doing);
        std::exit(2);
    }
}

// Forty tools with some 250 bytes each.
Dictionary domain() {
    Dictionary domain;
    for (int tool = 0; tool < 40; ++tool) {
        const std::string name = "tool " + std::to_string(tool);
        domain.set(name, Dictionary{{"count", tool},
                                    {"last run", Date{700000000.5 + tool}},
                                    {"title", std::string(150, 'a') + name},
                                    {"recent",
                                     Array{name + " first", name + " second", name + " third", tool * 0.1}}});
    }
    return domain;
}

Dictionary changed(Dictionary tool) {
    const Value* count = tool.find("count");
    check(count && count->asSigned(), "find the count");
    tool.set("count", *count->asSigned() + 1);
    return tool;
}

void oursOnce(const std::string& container) {
    const auto lock = LockedFile::lockFolder(container);
    UserDefaults defaults(kSuite);
    auto tool = defaults.dictionaryForKey(kKey);
    check(lock && tool, "read our domain");
    defaults.setObjectForKey(changed(*std::move(tool)), kKey);
    check(defaults.synchronize(), "write our domain");
}

std::string readWhole(const std::string& path) {
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    struct stat status {};
    check(file && ::fstat(file.get(), &status) == 0, "open the floor's file");
    std::string bytes(static_cast<std::size_t>(status.st_size), '\0');
    check(::read(file.get(), bytes.data(), bytes.size()) == status.st_size, "read the floor's file");
    return bytes;
}

void replaceByHand(int folder, const std::string& path, const Data& bytes) {
    const std::string temporary = path + ".new";
    const FileDescriptor file(::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    check(file && ::write(file.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()) &&
              ::fsync(file.get()) == 0 && ::rename(temporary.c_str(), path.c_str()) == 0 &&
              ::fsync(folder) == 0,
          "replace the floor's file");
}

void floorOnce(const std::string& folderPath) {
    const FileDescriptor folder(::open(folderPath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    check(folder && ::flock(folder.get(), LOCK_EX) == 0, "lock the floor's folder");
    const std::string path = folderPath + "/" + kSuite + ".plist";
    const std::string bytes = readWhole(path);
    auto root = parsePropertyList(std::as_bytes(std::span(bytes)));
    Dictionary& content = *root->asDictionary();
    content.set(kKey, changed(*content.find(kKey)->asDictionary()));
    const auto encoded = writeBinaryPropertyList(*root);
    check(static_cast<bool>(encoded), "encode the floor's domain");
    replaceByHand(folder.get(), path, *encoded);
}

// Both contenders begin with the same file; answers the two folders.
std::pair<std::string, std::string> prepare(const std::string& home) {
    ::setenv("XDG_DATA_HOME", home.c_str(), 1);
    const std::string container = *SearchPaths::groupContainer(kSuite);
    {
        UserDefaults defaults(kSuite);
        for (const auto& [key, value] : domain())
            defaults.setObjectForKey(value, key);
        check(defaults.synchronize(), "write the domain");
    }
    const std::string byHand = home + "/by hand";
    std::filesystem::create_directory(byHand);
    std::filesystem::copy(container + "/Library/Preferences/" + kSuite + ".plist", byHand);
    return {container, byHand};
}

template <class Work>
double secondsFor(Work work) {
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

int main() {
    std::string home = std::filesystem::current_path().string() + "/preferences-benchmark-XXXXXX";
    check(::mkdtemp(home.data()), "make a folder");
    const auto [container, byHand] = prepare(home);
    kitwell::benchmarks::printHeading("Preferences");
    const bool kept = kitwell::benchmarks::compare(
        {.work = "locked read-modify-write of one key in a 10 KB domain",
         .floorName = "the same steps by raw calls",
         .unit = "us",
         .unitScale = 1e6,
         .budget = 1.2},
        kRounds, [&] { return secondsFor([&] { floorOnce(byHand); }); },
        [&] { return secondsFor([&] { oursOnce(container); }); });
    std::filesystem::remove_all(home);
    return kept ? 0 : 1;
}
