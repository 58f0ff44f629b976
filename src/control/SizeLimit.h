#pragma once

#include "SerialQueue.h"

#include <QDateTime>
#include <QSet>
#include <QString>
#include <functional>
#include <memory>

class Defaults;
class FileOutputManager;

// Keeps the recordings folder under the user's "recordingsLimitGB": deletes
// the oldest recordings above it and counts what it deleted for the popover.
// The limit is read afresh each time. The folder is read, and files deleted,
// on the limit's own queue ("SizeLimit"), never on the main thread; the
// answers come back to the main thread, where everything else lives.
class SizeLimit {
public:
    SizeLimit(Defaults& defaults, const FileOutputManager& files);
    ~SizeLimit();

    // Deletes the oldest recordings above the limit, never one of the files
    // being written; `onDeleted` follows on the main thread when something
    // was deleted.
    void enforce(const QSet<QString>& beingWritten, const QDateTime& at);
    std::function<void()> onDeleted;
    // Asks whether the files being written alone exceed the limit; `then`
    // runs on the main thread only when they do.
    void whenExceededBy(const QSet<QString>& beingWritten, std::function<void()> then);

    qint64 deletedCount() const { return deletedCount_; }
    QDateTime deletedAt() const { return deletedAt_; }
    // Forgets what was deleted; true when there was something to forget.
    bool clear();

private:
    void deleted(qint64 count, const QDateTime& at);

    Defaults& defaults_;
    const FileOutputManager& files_;
    qint64 deletedCount_ = 0;
    QDateTime deletedAt_;
    // Answers from the queue find out through it whether the limit still exists.
    std::shared_ptr<SizeLimit*> self_;
    SerialQueue queue_{"SizeLimit"};  // last: stops before the fields above go
};
