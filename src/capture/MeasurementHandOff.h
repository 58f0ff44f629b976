#pragma once

#include <QObject>
#include <array>
#include <atomic>
#include <cstdint>
#include <functional>

// Hands the pipelines' motion measurements from their detection queues to
// the main thread, coalesced so that a measurement costs no allocation: the
// main thread takes, per pipeline, what piled up since its last turn (how
// many, the newest level and the highest).
//
// Threads: measured on the detection queues ("DetectionQueue"); delivery on
// the main thread, where `context` lives.
class MeasurementHandOff {
public:
    static constexpr int pipelineCount = 2;
    using Delivery = std::function<void(int index, std::int64_t count, double level, double peak)>;

    MeasurementHandOff(QObject& context, Delivery deliver);

    void measured(int index, double level);

private:
    void deliver(int index);

    QObject& context_;
    const Delivery deliver_;
    std::array<std::atomic<std::int64_t>, pipelineCount> measuredSinceLast_{};
    std::array<std::atomic<double>, pipelineCount> lastLevel_{};
    std::array<std::atomic<double>, pipelineCount> peakSinceLast_{};
    std::array<std::atomic<bool>, pipelineCount> posted_{};
};
