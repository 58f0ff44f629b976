#include "SerialQueue.h"

#include <pthread.h>
#include <algorithm>
#include <semaphore>

namespace {
bool laterFirst(const auto& a, const auto& b) {
    return a.due != b.due ? a.due > b.due : a.order > b.order;
}
}  // namespace

SerialQueue::SerialQueue(std::string label) : label_(std::move(label)), ring_(16) {
    thread_ = std::thread([this] { run(); });
    // Thread names show in debuggers and `top -H`; the kernel keeps 15 characters.
    pthread_setname_np(thread_.native_handle(), label_.substr(0, 15).c_str());
}

SerialQueue::~SerialQueue() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_one();
    if (thread_.get_id() == std::this_thread::get_id()) {
        thread_.detach();
    } else {
        thread_.join();
    }
}

void SerialQueue::push(Task task) {
    if (count_ == ring_.size()) {
        std::vector<Task> grown(ring_.size() * 2);
        for (std::size_t i = 0; i < count_; ++i) {
            grown[i] = std::move(ring_[(head_ + i) % ring_.size()]);
        }
        ring_ = std::move(grown);
        head_ = 0;
    }
    ring_[(head_ + count_) % ring_.size()] = std::move(task);
    ++count_;
}

void SerialQueue::async(Task task) {
    {
        std::lock_guard lock(mutex_);
        push(std::move(task));
    }
    wake_.notify_one();
}

void SerialQueue::asyncAfter(std::chrono::milliseconds delay, Task task) {
    {
        std::lock_guard lock(mutex_);
        delayed_.push_back({Clock::now() + delay, nextOrder_++, std::move(task)});
        std::push_heap(delayed_.begin(), delayed_.end(), laterFirst<Delayed, Delayed>);
    }
    wake_.notify_one();
}

void SerialQueue::sync(const std::function<void()>& work) {
    if (isCurrent()) {
        work();
        return;
    }
    std::binary_semaphore done(0);
    async([&] {
        work();
        done.release();
    });
    done.acquire();
}

bool SerialQueue::isCurrent() const {
    return std::this_thread::get_id() == thread_.get_id();
}

// Moves delayed work that has come due to the ready ring, then takes the
// first ready item. Waits when nothing is ready; returns false to stop.
bool SerialQueue::popReady(Task& out, std::unique_lock<std::mutex>& lock) {
    for (;;) {
        const auto now = Clock::now();
        while (!delayed_.empty() && delayed_.front().due <= now && !stopping_) {
            std::pop_heap(delayed_.begin(), delayed_.end(), laterFirst<Delayed, Delayed>);
            push(std::move(delayed_.back().task));
            delayed_.pop_back();
        }
        if (count_ > 0) {
            out = std::move(ring_[head_]);
            head_ = (head_ + 1) % ring_.size();
            --count_;
            return true;
        }
        if (stopping_) {
            return false;
        }
        if (delayed_.empty()) {
            wake_.wait(lock);
        } else {
            wake_.wait_until(lock, delayed_.front().due);
        }
    }
}

void SerialQueue::run() {
    Task task;
    std::unique_lock lock(mutex_);
    while (popReady(task, lock)) {
        lock.unlock();
        task();
        task.reset();
        lock.lock();
    }
    delayed_.clear();
}
