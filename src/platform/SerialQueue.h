#pragma once

#include "Task.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// A named serial queue on its own thread: work enqueued here runs one item at
// a time, in order. Objects with mutable state confine that state to one queue
// and everyone else only enqueues work on it.
//
// Destruction is orderly: work already enqueued for now still runs, delayed
// work that is not yet due is dropped, then the thread is joined.
class SerialQueue {
public:
    using Clock = std::chrono::steady_clock;

    explicit SerialQueue(std::string label);
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    const std::string& label() const { return label_; }

    // Enqueues work; never blocks beyond a short lock, allocates nothing for
    // small tasks once the queue has grown to its working size.
    void async(Task task);
    void asyncAfter(std::chrono::milliseconds delay, Task task);

    // Runs the work on the queue and waits for it. Called on the queue itself
    // it runs the work at once instead of waiting for itself.
    void sync(const std::function<void()>& work);

    // Whether the calling thread is this queue's thread.
    bool isCurrent() const;

    // Waits until everything enqueued before this call has run.
    void drain() {
        sync([] {});
    }

private:
    struct Delayed {
        Clock::time_point due;
        std::uint64_t order;
        Task task;
    };

    void run();
    void push(Task task);
    bool popReady(Task& out, std::unique_lock<std::mutex>& lock);

    const std::string label_;
    mutable std::mutex mutex_;
    std::condition_variable wake_;
    std::vector<Task> ring_;  // circular buffer, grows by doubling, never shrinks
    std::size_t head_ = 0;
    std::size_t count_ = 0;
    std::vector<Delayed> delayed_;  // min-heap on (due, order)
    std::uint64_t nextOrder_ = 0;
    bool stopping_ = false;
    std::thread thread_;
};
