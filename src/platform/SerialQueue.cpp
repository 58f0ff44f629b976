#include "SerialQueue.h"

#include <pthread.h>
#include <algorithm>
#include <semaphore>

namespace {
bool laterFirst(const auto& a, const auto& b) {
    return a.due != b.due ? a.due > b.due : a.order > b.order;
}
}  // namespace

SerialQueue::SerialQueue(std::string label)
    : label_(std::move(label)), state_(std::make_shared<State>()) {
    // The thread holds the state, not the queue: it may outlive the queue.
    thread_ = std::thread([state = state_] {
        std::unique_lock lock(state->mutex);
        state->runUntilStopped(lock);
    });
    // Thread names show in debuggers and `top -H`; the kernel keeps 15
    // characters.
    pthread_setname_np(thread_.native_handle(), label_.substr(0, 15).c_str());
}

SerialQueue::~SerialQueue() {
    std::unique_lock lock(state_->mutex);
    state_->stopping = true;
    if (!isCurrent()) {
        lock.unlock();
        state_->wake.notify_one();
        thread_.join();
        return;
    }
    // Destroyed by work running on this queue: what is enqueued runs now,
    // before the owner goes, and the thread finishes the work that destroyed
    // the queue, finds nothing left and ends on its own.
    state_->runUntilStopped(lock);
    lock.unlock();
    thread_.detach();
}

void SerialQueue::State::push(Task task) {
    if (count == ring.size()) {
        std::vector<Task> grown(ring.size() * 2);
        for (std::size_t i = 0; i < count; ++i) {
            grown[i] = std::move(ring[(head + i) % ring.size()]);
        }
        ring = std::move(grown);
        head = 0;
    }
    ring[(head + count) % ring.size()] = std::move(task);
    ++count;
}

void SerialQueue::async(Task task) {
    {
        std::lock_guard lock(state_->mutex);
        state_->push(std::move(task));
    }
    state_->wake.notify_one();
}

void SerialQueue::asyncAfter(std::chrono::milliseconds delay, Task task) {
    {
        std::lock_guard lock(state_->mutex);
        state_->delayed.push_back({Clock::now() + delay, state_->nextOrder++, std::move(task)});
        std::push_heap(state_->delayed.begin(), state_->delayed.end(),
                       laterFirst<Delayed, Delayed>);
    }
    state_->wake.notify_one();
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
bool SerialQueue::State::popReady(Task& out, std::unique_lock<std::mutex>& lock) {
    for (;;) {
        const auto now = Clock::now();
        while (!delayed.empty() && delayed.front().due <= now && !stopping) {
            std::pop_heap(delayed.begin(), delayed.end(), laterFirst<Delayed, Delayed>);
            push(std::move(delayed.back().task));
            delayed.pop_back();
        }
        if (count > 0) {
            out = std::move(ring[head]);
            head = (head + 1) % ring.size();
            --count;
            return true;
        }
        if (stopping) {
            return false;
        }
        if (delayed.empty()) {
            wake.wait(lock);
        } else {
            // A copy: while this waits, work scheduled from elsewhere may
            // grow the heap and move its first item.
            const Clock::time_point due = delayed.front().due;
            wake.wait_until(lock, due);
        }
    }
}

// Runs ready work until the queue stops and nothing is left, then drops the
// delayed work (outside the lock: what it holds may enqueue as it goes).
void SerialQueue::State::runUntilStopped(std::unique_lock<std::mutex>& lock) {
    Task task;
    while (popReady(task, lock)) {
        lock.unlock();
        task();
        task.reset();
        lock.lock();
    }
    std::vector<Delayed> dropped = std::move(delayed);
    delayed.clear();
    lock.unlock();
    dropped.clear();
    lock.lock();
}
