#pragma once

#include "MovieRecorder.h"

#include <memory>

// Passes everything to a recorder and logs each file as it is begun and as
// it is finished.
class LoggingRecorder : public MovieRecorder {
public:
    explicit LoggingRecorder(std::shared_ptr<MovieRecorder> recorder)
        : recorder_(std::move(recorder)) {}

    QDateTime startDate() override { return recorder_->startDate(); }
    void start(const QString& filePath, Completion onFinish) override;
    void roll(const QString& filePath, Completion onFinish) override;
    void stop() override { recorder_->stop(); }
    SerialQueue& queue() override { return recorder_->queue(); }

private:
    static Completion logged(Completion onFinish);

    std::shared_ptr<MovieRecorder> recorder_;
};
