#include <cstddef>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include "KitwellPlatform/Files/AppendFile.h"
#include "KitwellPlatform/Files/AtomicFile.h"
#include "KitwellPlatform/Files/FileManager.h"
#include "KitwellPlatform/Files/FreePath.h"
#include "Support/Harness.h"

using namespace kitwell::platform;
using namespace kitwell::test;

class AppendFileTest : public InTestHome {
protected:
    const std::string path = home.path("data/log");
    std::vector<std::string> names() const { return FileManager::namesInFolder(home.path("data")); }
};

TEST_F(AppendFileTest, ContentsAreBoundedAndATakenNameIsLeft) {
    const std::string_view pieces[] = {"one ", "two "};
    const auto file = AppendFile::create(path, pieces);
    ASSERT_TRUE(file);
    EXPECT_EQ(AppendFile::create(path, pieces).error().code, EEXIST);
    EXPECT_EQ(names(), std::vector<std::string>{"log"});
    EXPECT_EQ(file->contents(8)->text(), "one two ");
    EXPECT_EQ(file->contents(7).error().code, EFBIG);
}

TEST_F(AppendFileTest, ACopyTakesTheFirstFreeNameOrLeavesNothing) {
    const std::string content(100000, 'x');
    ASSERT_TRUE(replaceFile(home.path("source"), std::as_bytes(std::span(content))));
    const std::vector<std::string> paths{home.path("data/a"), home.path("data/b")};
    const auto copy = [&](const std::string& source) {
        const FileDescriptor file(::open(source.c_str(), O_RDONLY | O_CLOEXEC));
        return copyToFirstFreePath(file.get(), paths, 1000);
    };
    ASSERT_EQ(::symlink("nowhere", paths[0].c_str()), 0);
    EXPECT_FALSE(copy(home.path("data"))) << "a folder was copied";
    EXPECT_EQ(names(), std::vector<std::string>{"a"});
    EXPECT_EQ(*copy(home.path("source")), paths[1]);
    EXPECT_EQ(readFile(paths[1], content.size())->text(), content);
    EXPECT_EQ(copy(home.path("source")).error().code, EEXIST);
    const auto bytes = std::as_bytes(std::span(content));
    EXPECT_EQ(writeToFirstFreePath(bytes, paths).error().code, EEXIST);
    EXPECT_EQ(names(), (std::vector<std::string>{"a", "b"}));
    std::filesystem::remove(paths[0]);
    const mode_t before = ::umask(026);
    EXPECT_EQ(*writeToFirstFreePath(bytes, paths), paths[0]);
    ::umask(before);
    EXPECT_EQ(std::filesystem::status(paths[0]).permissions(), std::filesystem::perms(0640));
    EXPECT_EQ(readFile(paths[0], content.size())->text(), content);
    EXPECT_FALSE(writeToFirstFreePath(bytes, std::vector{home.path("missing/c")}));
}

// The system as it looks on a volume that knows no files without a name or with two names and, when the last
// argument says so, no renaming either that spares what is there: writes the first argument that is free.
CHILD_BODY(writesOnAPoorVolume) {
    const auto fail = [](unsigned code) { return SECCOMP_RET_ERRNO | code; };
    sock_filter rules[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_linkat, 5, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_renameat2, 5, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_openat, 0, 2),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[2])),
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, O_TMPFILE & ~O_DIRECTORY, 3, 0),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, fail(EPERM)),
        BPF_STMT(BPF_RET | BPF_K, arguments[2] == "poorer" ? fail(EINVAL) : SECCOMP_RET_ALLOW),
        BPF_STMT(BPF_RET | BPF_K, fail(EOPNOTSUPP)),
    };
    const sock_fprog program{std::size(rules), rules};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) != 0)
        return 2;
    const auto done =
        writeToFirstFreePath(std::as_bytes(std::span(arguments[2])), std::span(arguments).first(2));
    return done && *done == arguments[1] ? 0 : 1;
}

TEST_F(AppendFileTest, ANewFileTakesAFreeNameWhereAFileHasButOne) {
    ASSERT_TRUE(replaceFile(home.path("data/a"), {}));
    for (const std::string volume : {"poor", "poorer"}) {
        const std::string free = home.path("data/" + volume);
        EXPECT_EQ(ChildProcess::body("writesOnAPoorVolume", {home.path("data/a"), free, volume}).wait(), 0);
        EXPECT_EQ(readFile(free, 10)->text(), volume);
        EXPECT_EQ(readFile(home.path("data/a"), 10)->size(), 0U);
    }
    EXPECT_EQ(names().size(), 3U);
}
