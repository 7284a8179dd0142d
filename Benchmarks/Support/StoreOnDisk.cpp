#include "Support/StoreOnDisk.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/Files/SearchPaths.h"
#include "KitwellPlatform/Preferences/UserDefaults.h"
#include "KitwellPlatform/Values/PropertyList.h"
#include "Support/Comparison.h"
#include "Support/Partner.h"

namespace kitwell::benchmarks {

using namespace kitwell::platform;

namespace {

constexpr int kRounds = 200;

void check(bool succeeded, const char* doing) {
    if (!succeeded)
        fail(std::string("cannot ") + doing);
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

void writePreferences(const std::string& suite, const Dictionary& content) {
    UserDefaults preferences(suite);
    for (const auto& [key, value] : content)
        preferences.setObjectForKey(value, key);
    check(preferences.synchronize(), "write the preferences");
}

double secondsFor(const std::function<void()>& work) {
    const double start = now();
    work();
    return now() - start;
}

} // namespace

StoreOnDisk::StoreOnDisk(std::string suite, const Dictionary& content)
    : suite_(std::move(suite)), home_(std::filesystem::current_path().string() + "/benchmark-XXXXXX") {
    check(::mkdtemp(home_.data()), "make a folder");
    ::setenv("XDG_DATA_HOME", home_.c_str(), 1);
    container_ = *SearchPaths::groupContainer(suite_);
    copyFolder_ = home_ + "/by hand";
    writePreferences(suite_, content);
    std::filesystem::create_directory(copyFolder_);
    std::filesystem::copy(container_ + "/Library/Preferences/" + suite_ + ".plist", copyFolder_);
}

StoreOnDisk::~StoreOnDisk() {
    std::error_code ignored;
    std::filesystem::remove_all(home_, ignored);
}

bool StoreOnDisk::compareUpdates(const std::string& work, const Change& change,
                                 const std::function<void()>& update) const {
    return compare(
        {.work = work,
         .floorName = "the same steps by raw calls",
         .unit = "us",
         .unitScale = 1e6,
         .budget = 1.2},
        kRounds, [&] { return secondsFor([&] { updateByHand(change); }); },
        [&] { return secondsFor(update); });
}

void StoreOnDisk::updateByHand(const Change& change) const {
    const FileDescriptor folder(::open(copyFolder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    check(folder && ::flock(folder.get(), LOCK_EX) == 0, "lock the floor's folder");
    const std::string path = copyFolder_ + "/" + suite_ + ".plist";
    const std::string bytes = readWhole(path);
    auto root = parsePropertyList(std::as_bytes(std::span(bytes)));
    check(root && root->asDictionary(), "parse the floor's file");
    change(*root->asDictionary());
    const auto encoded = writeBinaryPropertyList(*root);
    check(static_cast<bool>(encoded), "encode the floor's file");
    replaceByHand(folder.get(), path, *encoded);
}

} // namespace kitwell::benchmarks
