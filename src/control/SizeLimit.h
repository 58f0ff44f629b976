#pragma once

#include <QDateTime>
#include <QSet>
#include <QString>

class Defaults;
class FileOutputManager;

// Keeps the recordings folder under the user's "recordingsLimitGB": deletes
// the oldest recordings above it and counts what it deleted for the popover.
// The limit is read afresh each time. Main thread only.
class SizeLimit {
public:
    SizeLimit(Defaults& defaults, const FileOutputManager& files)
        : defaults_(defaults), files_(files) {}

    // Deletes the oldest recordings above the limit, never one of the files
    // being written; true when something was deleted.
    bool enforce(const QSet<QString>& beingWritten, const QDateTime& at);
    // Whether the files being written alone exceed the limit.
    bool exceededBy(const QSet<QString>& beingWritten) const;

    qint64 deletedCount() const { return deletedCount_; }
    QDateTime deletedAt() const { return deletedAt_; }
    // Forgets what was deleted; true when there was something to forget.
    bool clear();

private:
    Defaults& defaults_;
    const FileOutputManager& files_;
    qint64 deletedCount_ = 0;
    QDateTime deletedAt_;
};
