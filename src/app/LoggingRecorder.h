#pragma once

#include "MovieRecorder.h"

#include <QDateTime>
#include <functional>
#include <memory>
#include <optional>

// Passes everything to a recorder, logs each file as it is begun and as it
// is finished, and keeps how long before the trigger each file begins.
class LoggingRecorder : public MovieRecorder {
public:
    // Told of each finished file under its final name, on the recorder's queue.
    using FinishedFile = std::function<void(const QString& finishedPath)>;

    explicit LoggingRecorder(std::shared_ptr<MovieRecorder> recorder, FinishedFile onFinished = {})
        : recorder_(std::move(recorder)), onFinished_(std::move(onFinished)) {}

    QDateTime startDate() override;
    void start(const QString& filePath, Completion onFinish) override;
    void roll(const QString& filePath, Completion onFinish) override;
    void stop() override { recorder_->stop(); }
    SerialQueue& queue() override { return recorder_->queue(); }

    // The seconds before its trigger that a recent recording's first file
    // begins with, by the file's name when begun or when finished; nothing
    // for a file not begun here lately. Main thread.
    static std::optional<double> preRollOf(const QString& filePath);

private:
    Completion logged(Completion onFinish) const;

    std::shared_ptr<MovieRecorder> recorder_;
    FinishedFile onFinished_;
    // Asked for just before `start`, at the trigger: the span the pre-roll covers.
    std::optional<double> preRoll_;
};
