#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace kitwell::platform {

// Does work on several threads side by side and delivers what came of it in the order in which it was added.
// The thread that adds and finishes takes part; all others start when there is work for them and end with the
// object. What is added and not yet delivered is bounded. Inside the library only.
class OrderedWork {
public:
    // On any thread; it must not throw. `worker` is below workers(), and no two at a time have the same.
    using Work = std::function<void(unsigned worker)>;
    // On the adding thread.
    using Delivery = std::function<void()>;

    explicit OrderedWork(unsigned workers) : workers_(workers) {}
    // What was not delivered is dropped.
    ~OrderedWork();
    OrderedWork(const OrderedWork&) = delete;
    OrderedWork& operator=(const OrderedWork&) = delete;

    unsigned workers() const { return workers_; }
    // Without work there is only something to deliver in its turn.
    void add(Work work, Delivery delivery);
    void finish();

private:
    struct Item {
        Work work;
        Delivery delivery;
        bool isDone = false; // under mutex_
    };

    void startWorker();
    void runWorker(unsigned worker);
    void doNext(std::unique_lock<std::mutex>& lock, unsigned worker);
    void deliverOldest();

    // The adding thread's alone; an item's work is the worker's that took it.
    unsigned workers_;
    std::vector<std::thread> threads_;
    std::deque<std::unique_ptr<Item>> order_;

    std::mutex mutex_; // of what follows
    std::condition_variable isWaiting_;
    std::condition_variable isDone_;
    std::deque<Item*> waiting_;
    bool isOver_ = false;
};

} // namespace kitwell::platform
