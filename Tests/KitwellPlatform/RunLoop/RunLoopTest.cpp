#include <algorithm>
#include <ctime>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <optional>
#include <poll.h>
#include <sys/eventfd.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "KitwellPlatform/Files/FileDescriptor.h"
#include "KitwellPlatform/RunLoop/RunLoop.h"

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

double cpuSeconds() {
    timespec time{};
    ::clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

bool isReadable(int descriptor, int milliseconds) {
    pollfd entry{descriptor, POLLIN, 0};
    return ::poll(&entry, 1, milliseconds) == 1;
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
    double cpu = 0;
    const auto source =
        loop().watch(reader.get(), Interest::Readable, RunLoopModes::Common, [&](RunLoop::Events events) {
            EXPECT_TRUE(events.readable && events.hangUp);
            const double before = cpuSeconds();
            if (++calls == 1)
                loop().runFor(100ms);
            cpu += cpuSeconds() - before;
        });
    loop().runOnce(0ms);
    EXPECT_EQ(calls, 1);
    EXPECT_LT(cpu, 0.03);
    EXPECT_TRUE(loop().runOnce(0ms));
    EXPECT_EQ(calls, 2) << "the source went deaf";
}

TEST(RunLoop, NoneOfManyReadySourcesStarves) {
    constexpr std::size_t kSources = 200;
    std::vector<FileDescriptor> descriptors;
    std::vector<RunLoop::Source> sources;
    std::vector<int> calls(kSources);
    for (std::size_t index = 0; index < kSources; ++index) {
        descriptors.push_back(readableDescriptor());
        sources.push_back(loop().watch(descriptors.back().get(), Interest::Readable, RunLoopModes::Common,
                                       [&calls, index](auto) { ++calls[index]; }));
    }
    for (int turn = 0; turn < 25; ++turn)
        loop().runOnce(0ms);
    const auto [least, most] = std::ranges::minmax(calls);
    EXPECT_GE(least, 6);
    EXPECT_LE(most, 10);
}

TEST(RunLoop, EachModeHeedsItsOwnSourcesAndTimers) {
    std::vector<std::pair<FileDescriptor, RunLoop::Source>> watched;
    std::string told;
    for (const auto& [modes, letter] :
         {std::pair{RunLoopModes::Default, 'd'}, std::pair{RunLoopModes::Modal, 'm'},
          std::pair{RunLoopModes::Common, 'c'}}) {
        FileDescriptor descriptor = readableDescriptor();
        auto source = loop().watch(descriptor.get(), Interest::Readable, modes,
                                   [&, letter = letter](auto) { told += letter; });
        watched.emplace_back(std::move(descriptor), std::move(source));
    }
    const auto timer = Timer::once(loop(), 0ms, RunLoopModes::Default, [&] { told += 't'; });
    for (const auto& [mode, expected] :
         {std::pair{RunLoopMode::Modal, "cm"}, std::pair{RunLoopMode::Default, "cdt"}}) {
        told.clear();
        loop().runOnce(0ms, mode);
        std::ranges::sort(told);
        EXPECT_EQ(told, expected);
    }
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

TEST(RunLoop, AHostSeesTimersWorkAndSourcesThroughOneDescriptor) {
    const int pollable = loop().pollableDescriptor();
    EXPECT_FALSE(isReadable(pollable, 0));
    int done = 0;
    const auto early = Timer::once(loop(), 1h, RunLoopModes::Default, [&] { ++done; });
    std::optional<Timer> timer = Timer::once(loop(), 5ms, RunLoopModes::Default, [&] { ++done; });
    EXPECT_TRUE(isReadable(pollable, 2000)) << "timer";
    loop().dispatchPending();
    loop().post([&] { ++done; });
    EXPECT_TRUE(isReadable(pollable, 0)) << "work";
    loop().dispatchPending();
    const FileDescriptor descriptor = readableDescriptor();
    auto source =
        loop().watch(descriptor.get(), Interest::Readable, RunLoopModes::Default, [&](auto) { ++done; });
    EXPECT_TRUE(isReadable(pollable, 0)) << "source";
    loop().dispatchPending();
    source.end();
    EXPECT_EQ(done, 3);
    EXPECT_FALSE(isReadable(pollable, 0)) << "a host would spin";
}

} // namespace kitwell::platform
