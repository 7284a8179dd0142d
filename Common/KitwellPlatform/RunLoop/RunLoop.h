#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

#include "KitwellPlatform/Export.h"

namespace kitwell::platform {

// What a loop is run for. A dialog runs it in the modal mode; everything else in the default mode.
enum class RunLoopMode : std::uint8_t { Default = 1, Modal = 2 };

// The modes in which a source or timer is heeded.
enum class RunLoopModes : std::uint8_t { Default = 1, Modal = 2, Common = 3 };

// Waits for descriptors, timers and posted work, and calls their handlers, on the thread it belongs to.
//
// A handler may run the loop again (a nested pass), end any source or timer, its own included, or add new
// ones: what has been ended is never called again, what is added is first called in a later turn. A handler
// that is still running is not called a second time by a nested pass (its source is passed over until the
// handler returns), except for sources that were watched with `Reentrancy::Allowed`.
//
// Everything here belongs to the loop's own thread, except `post` and `stop`, which any thread may call.
class PLATFORM_API RunLoop {
public:
    using Clock = std::chrono::steady_clock;
    using Duration = Clock::duration;
    struct State;

    // Ends its registration when it goes. May outlive the loop. Belongs to the loop's thread.
    class PLATFORM_API Source {
    public:
        Source() = default;
        Source(Source&&) noexcept;
        Source& operator=(Source&&) noexcept;
        ~Source();
        explicit operator bool() const { return id_ != 0; }
        void end();

    private:
        friend class RunLoop;
        friend class Timer;
        Source(std::weak_ptr<State> loop, std::uint64_t id);
        std::weak_ptr<State> loop_;
        std::uint64_t id_ = 0;
    };

    enum class Interest : std::uint8_t { Readable, Writable, HangUp };
    struct Events {
        bool readable = false;
        bool writable = false;
        // The peer is gone or the descriptor failed; there may still be something to read.
        bool hangUp = false;
    };

    // The calling thread's loop, made at the first call.
    static RunLoop& current();

    RunLoop(const RunLoop&) = delete;
    RunLoop& operator=(const RunLoop&) = delete;

    // Whether a nested pass may call a handler that is still running.
    enum class Reentrancy : std::uint8_t { Refused, Allowed };

    // Level-triggered: the handler is called again while the condition holds. The descriptor stays the
    // caller's and must not be closed before the source ends; a loop watches a descriptor once. Hang-ups are
    // always told. An empty Source when the system refuses.
    [[nodiscard]] Source watch(int descriptor, Interest interest, RunLoopModes modes,
                               std::function<void(Events)> handler,
                               Reentrancy reentrancy = Reentrancy::Refused);

    // Runs until `stop`.
    void run(RunLoopMode mode = RunLoopMode::Default);
    // Handles what arrives until the time has passed or the loop is stopped.
    void runFor(Duration limit, RunLoopMode mode = RunLoopMode::Default);
    // Waits for something to handle for at most `limit`, handles that one turn, and answers whether there was
    // anything.
    bool runOnce(Duration limit, RunLoopMode mode = RunLoopMode::Default);

    // Ends every run under way, nested ones included; later runs return at once, until `restart`.
    void stop();
    void restart();
    bool isStopped() const;

    // Runs `work` in a later turn of the loop, in any mode, in the order of posting.
    void post(std::function<void()> work);

    // For a host with a loop of its own: becomes readable when there is something to do in the default mode;
    // `dispatchPending` then does it without waiting, whether or not the loop is stopped: the host decides
    // when to end.
    int pollableDescriptor();
    void dispatchPending();

private:
    friend class Timer;
    RunLoop();
    ~RunLoop();
    std::shared_ptr<State> state_;
};

// Calls a handler once after a time, or repeatedly. The times of a repeating timer stay on the grid that its
// first firing set (no drift); firings that were missed are made up by a single one. Ends when it goes.
class PLATFORM_API Timer {
public:
    Timer() = default;
    static Timer once(RunLoop& loop, RunLoop::Duration delay, RunLoopModes modes,
                      std::function<void()> handler);
    static Timer repeating(RunLoop& loop, RunLoop::Duration interval, RunLoopModes modes,
                           std::function<void()> handler);
    explicit operator bool() const { return static_cast<bool>(source_); }
    void end() { source_.end(); }

private:
    explicit Timer(RunLoop::Source source) : source_(std::move(source)) {}
    RunLoop::Source source_;
};

} // namespace kitwell::platform
