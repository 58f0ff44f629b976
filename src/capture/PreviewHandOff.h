#pragma once

#include "PreviewFrame.h"

#include <QObject>
#include <array>
#include <atomic>
#include <functional>
#include <mutex>

// Hands the pipelines' preview frames from their capture threads to the main
// thread. Each pipeline has one slot: a newer frame replaces one the main
// thread has not taken yet, so frames never queue up and never hold more than
// one of the camera's buffers each.
//
// Threads: offer on the capture threads ("VideoDataQueue"); delivery and
// clear on the main thread, where `context` lives.
class PreviewHandOff {
public:
    static constexpr int slotCount = 2;
    using Delivery = std::function<void(int index, const PreviewFrame& frame)>;

    PreviewHandOff(QObject& context, Delivery deliver)
        : context_(context), deliver_(std::move(deliver)) {}

    void offer(int index, const PreviewFrame& frame);
    // Gives the frames not yet delivered back to the pipelines' pools.
    void clear();

private:
    struct Slot {
        std::mutex mutex;
        PreviewFrame frame;
        std::atomic<bool> posted{false};
    };

    void deliver(int index);

    QObject& context_;
    const Delivery deliver_;
    std::array<Slot, slotCount> slots_;
};
