#pragma once

#include "MovieRecorder.h"
#include "SerialQueue.h"

#include <QStringList>
#include <functional>
#include <mutex>
#include <vector>

// A recorder that writes nothing by itself: it keeps what it was asked to do
// and finishes its files when the test says so, with or without an error. It
// stands in for a camera's recorder where a test decides how files end.
class FakeMovieRecorder : public MovieRecorder {
public:
    explicit FakeMovieRecorder(QDateTime startDate = {});

    QDateTime startDate() override { return startDate_; }
    void start(const QString& filePath, Completion onFinish) override;
    void roll(const QString& filePath, Completion onFinish) override;
    void stop() override;
    SerialQueue& queue() override { return queue_; }

    void setStartDate(QDateTime date) { startDate_ = std::move(date); }

    // What the recorder was asked, in order; read after drain().
    QStringList started() const;
    QStringList rolled() const;
    int stops() const;
    void drain() { queue_.drain(); }

    // Finishes the oldest open file (writing `bytes` at its path when there is
    // no error; above 1 MiB as a sparse file) and calls its completion.
    void finishNext(std::optional<Error> error = std::nullopt, qint64 bytes = 1024);
    int openFiles() const;

private:
    struct Open {
        QString path;
        Completion onFinish;
    };

    QDateTime startDate_;
    mutable std::mutex mutex_;  // the test thread reads what the queue recorded
    QStringList started_;
    QStringList rolled_;
    int stops_ = 0;
    std::vector<Open> open_;
    SerialQueue queue_{"PreRollRecorder"};
};
