#pragma once

#include "MovieRecorder.h"

#include <functional>
#include <memory>

// Passes everything to a recorder and logs each file as it is begun and as
// it is finished.
class LoggingRecorder : public MovieRecorder {
public:
    // Told of each finished file under its final name, on the recorder's queue.
    using FinishedFile = std::function<void(const QString& finishedPath)>;

    explicit LoggingRecorder(std::shared_ptr<MovieRecorder> recorder, FinishedFile onFinished = {})
        : recorder_(std::move(recorder)), onFinished_(std::move(onFinished)) {}

    QDateTime startDate() override { return recorder_->startDate(); }
    void start(const QString& filePath, Completion onFinish) override;
    void roll(const QString& filePath, Completion onFinish) override;
    void stop() override { recorder_->stop(); }
    SerialQueue& queue() override { return recorder_->queue(); }

private:
    Completion logged(Completion onFinish) const;

    std::shared_ptr<MovieRecorder> recorder_;
    FinishedFile onFinished_;
};
