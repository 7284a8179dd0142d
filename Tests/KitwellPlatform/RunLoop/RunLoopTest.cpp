#include <cstddef>
#include <ctime>
#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/eventfd.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <thread>

#include "KitwellPlatform/RunLoop/RunLoop.h"
#include "Support/Harness.h"

namespace kitwell::platform {

namespace {

using namespace std::chrono_literals;
using Interest = RunLoop::Interest;

FileDescriptor readableDescriptor() {
    return FileDescriptor(::eventfd(1, EFD_CLOEXEC | EFD_NONBLOCK));
}

RunLoop& loop() {
    return RunLoop::current();
}

} // namespace

// The second of two ready sources is ended by the first, and its descriptor's number is taken by a new
// source: the event that was fetched for the old one must reach neither.
TEST(RunLoop, AnEventOfAnEndedSourceReachesNobody) {
    const FileDescriptor descriptors[] = {readableDescriptor(), readableDescriptor()};
    RunLoop::Source sources[2];
    RunLoop::Source successor;
    int calls = 0;
    int successorCalls = 0;
    for (int own : {0, 1})
        sources[own] =
            loop().watch(descriptors[own].get(), Interest::Readable, RunLoopModes::Common, [&, own](auto) {
                ++calls;
                sources[1 - own].end();
                const FileDescriptor fresh = readableDescriptor();
                ::dup3(fresh.get(), descriptors[1 - own].get(), O_CLOEXEC);
                successor = loop().watch(descriptors[1 - own].get(), Interest::Readable, RunLoopModes::Common,
                                         [&](auto) { ++successorCalls; });
            });
    EXPECT_TRUE(loop().runOnce(0ms));
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(successorCalls, 0) << "what is added is first called in a later turn";
    sources[0].end();
    sources[1].end();
    EXPECT_TRUE(loop().runOnce(0ms));
    EXPECT_EQ(successorCalls, 1);
}

// The outer handler leaves its descriptor readable and hung up: the nested pass must neither call it again
// nor spin, and the source must be as before afterwards.
TEST(RunLoop, ANestedPassWaitsQuietlyWhileTheOuterHandlerRuns) {
    int ends[2];
    ASSERT_EQ(::pipe2(ends, O_CLOEXEC), 0);
    const FileDescriptor reader(ends[0]);
    ASSERT_EQ(::write(ends[1], "x", 1), 1);
    ::close(ends[1]);
    int calls = 0;
    std::clock_t cpu = 0;
    const auto source =
        loop().watch(reader.get(), Interest::Readable, RunLoopModes::Common, [&](RunLoop::Events events) {
            EXPECT_TRUE(events.readable && events.hangUp);
            const std::clock_t before = std::clock();
            if (++calls == 1)
                loop().runFor(100ms);
            cpu += std::clock() - before;
        });
    loop().runOnce(0ms);
    EXPECT_EQ(calls, 1);
    EXPECT_LT(cpu, CLOCKS_PER_SEC * 3 / 100);
    EXPECT_TRUE(loop().runOnce(0ms));
    EXPECT_EQ(calls, 2) << "the source went deaf";
}

// Work runs in the order of posting, whichever pass comes to it: the second work is overtaken neither by a
// nested pass nor by what was posted later.
TEST(RunLoop, PostedWorkKeepsItsOrderAcrossNestedPasses) {
    std::string order;
    loop().post([&] {
        loop().post([&] { order += '4'; });
        order += '1';
        loop().runOnce(0ms);
        order += '5';
    });
    loop().post([&] { order += '2'; });
    loop().post([&] { order += '3'; });
    loop().runOnce(0ms);
    EXPECT_EQ(order, "12345");
    EXPECT_FALSE(loop().runOnce(0ms));
}

TEST(RunLoop, AnotherThreadWakesAndStopsEveryNestedRun) {
    RunLoop& waiting = loop();
    std::thread other;
    bool nestedEnded = false;
    waiting.post([&] {
        other = std::thread([&] { waiting.post([&] { waiting.stop(); }); });
        waiting.run(RunLoopMode::Modal);
        nestedEnded = true;
    });
    waiting.run();
    other.join();
    EXPECT_TRUE(nestedEnded);
    EXPECT_FALSE(waiting.runOnce(1h)) << "a stopped loop ran on";
    waiting.restart();
    waiting.post([] {});
    EXPECT_TRUE(waiting.runOnce(1h));
}

// As on an older kernel, or in a sandbox with a list of its own.
CHILD_BODY(waitsWithoutTheFinerCall) {
    sock_filter rules[] = {BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                           BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_epoll_pwait2, 0, 1),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | ENOSYS),
                           BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
    const sock_fprog filter{std::size(rules), rules};
    if (::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
        ::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0)
        return 2;
    const std::clock_t used = std::clock();
    const Timer timer = Timer::once(loop(), 300ms, RunLoopModes::Default, [] {});
    const auto start = RunLoop::Clock::now();
    const bool fired = loop().runOnce(10s) && RunLoop::Clock::now() - start > 290ms;
    return fired && std::clock() - used < CLOCKS_PER_SEC / 10 ? 0 : 1;
}

TEST(RunLoop, WaitsQuietlyWhereTheSystemLacksTheFinerWait) {
    const int outcome = test::ChildProcess::body("waitsWithoutTheFinerCall").wait();
    if (outcome == 2)
        GTEST_SKIP() << "no system call can be taken away here";
    EXPECT_EQ(outcome, 0);
}

} // namespace kitwell::platform
