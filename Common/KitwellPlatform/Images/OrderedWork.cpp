#include "KitwellPlatform/Images/OrderedWork.h"

#include <system_error>
#include <utility>

namespace kitwell::platform {

OrderedWork::~OrderedWork() {
    {
        const std::lock_guard lock(mutex_);
        isOver_ = true;
        waiting_.clear();
    }
    isWaiting_.notify_all();
    for (std::thread& thread : threads_)
        thread.join();
}

void OrderedWork::add(Work work, Delivery delivery) {
    Item& item = *order_.emplace_back(std::make_unique<Item>());
    item = {std::move(work), std::move(delivery)};
    bool isTooMuch = false;
    {
        const std::lock_guard lock(mutex_);
        if (item.work)
            waiting_.push_back(&item);
        else
            item.isDone = true;
        isTooMuch = waiting_.size() > 1;
    }
    isWaiting_.notify_one();
    if (isTooMuch && threads_.size() + 1 < workers_)
        startWorker();
    const std::size_t lookahead = workers_ > 1 ? 2 * std::size_t{workers_} : 0;
    while (order_.size() > lookahead)
        deliverOldest();
}

void OrderedWork::finish() {
    while (!order_.empty())
        deliverOldest();
}

void OrderedWork::startWorker() {
    const auto worker = static_cast<unsigned>(threads_.size()) + 1;
    try {
        threads_.emplace_back([this, worker] { runWorker(worker); });
    } catch (const std::system_error&) {
        workers_ = worker; // the system gives no more threads: those that are there do it all
    }
}

void OrderedWork::runWorker(unsigned worker) {
    std::unique_lock lock(mutex_);
    for (;;) {
        isWaiting_.wait(lock, [this] { return isOver_ || !waiting_.empty(); });
        if (isOver_)
            return;
        doNext(lock, worker);
    }
}

void OrderedWork::doNext(std::unique_lock<std::mutex>& lock, unsigned worker) {
    Item& item = *waiting_.front();
    waiting_.pop_front();
    lock.unlock();
    item.work(worker);
    lock.lock();
    item.isDone = true;
    isDone_.notify_one();
}

void OrderedWork::deliverOldest() {
    const Item& oldest = *order_.front();
    {
        std::unique_lock lock(mutex_);
        while (!oldest.isDone) {
            if (waiting_.empty())
                isDone_.wait(lock);
            else
                doNext(lock, 0);
        }
    }
    oldest.delivery();
    order_.pop_front();
}

} // namespace kitwell::platform
