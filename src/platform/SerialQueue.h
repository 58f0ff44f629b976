#pragma once

#include "Task.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

// A named serial queue on its own thread: work enqueued here runs one item at
// a time, in order. Objects with mutable state confine that state to one queue
// and everyone else only enqueues work on it.
//
// Destruction is orderly: work already enqueued for now still runs, delayed
// work that is not yet due is dropped, then the thread ends. A queue may be
// destroyed by work running on it: the queued work then runs inside the
// destruction, and the thread ends by itself once that work returns.
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

    // What the thread works on. The queue and its thread share it, so that a
    // thread whose queue was destroyed under it still finds it.
    struct State {
        std::mutex mutex;
        std::condition_variable wake;
        std::vector<Task> ring = std::vector<Task>(16);  // circular, grows by doubling
        std::size_t head = 0;
        std::size_t count = 0;
        std::vector<Delayed> delayed;  // min-heap on (due, order)
        std::uint64_t nextOrder = 0;
        bool stopping = false;

        void push(Task task);
        bool popReady(Task& out, std::unique_lock<std::mutex>& lock);
        void runUntilStopped(std::unique_lock<std::mutex>& lock);
    };

    const std::string label_;
    const std::shared_ptr<State> state_;
    std::thread thread_;
};
