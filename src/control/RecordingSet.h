#pragma once

#include "Error.h"
#include "RecordingFailure.h"
#include "RecordingTarget.h"

#include <QDateTime>
#include <QHash>
#include <QSet>
#include <QString>
#include <optional>
#include <vector>

// The files of the recordings Nelvo is writing: the cameras of the running
// recording, the files each set of simultaneous recordings still has open,
// and the record of recordings that failed in a row. Main thread only.
//
// Two views of the files are kept on purpose. `currentFilePaths` decides when
// the running recording is over, and a stop or disarm empties it at once. The
// open files of each set are forgotten only as their files finish, so the
// end of every set is seen, whatever stopped it.
class RecordingSet {
public:
    // What one finished file meant.
    struct Finish {
        bool wasCurrent = false;      // it belonged to the running recording
        bool currentEmptied = false;  // ... and was the last of its files
        bool setWritten = false;      // the last file of its set is written
    };

    // A new set for these cameras; its files follow with `add`.
    void begin(const std::vector<RecordingTarget>& targets);
    const std::vector<RecordingTarget>& targets() const { return targets_; }
    // Asks every recorder of the running recording to finish its file.
    void stopRecorders() const;

    // A file a recorder was asked to write for the running recording.
    void add(const QString& filePath);
    // The running recording no longer waits for its files.
    void forgetCurrent() { currentFilePaths_.clear(); }
    // A file finished, or a roll its recorder could not continue.
    Finish finished(const QString& filePath);

    const QSet<QString>& currentFilePaths() const { return currentFilePaths_; }
    // Every file still being written, of this set and of earlier ones.
    QSet<QString> filesBeingWritten() const;

    // The failure record. A recording whose files all fail together counts
    // once; each returns whether the record changed.
    std::optional<RecordingFailure> failure() const { return failure_; }
    qint64 failureCount() const { return failureCount_; }
    QDateTime failedAt() const { return failedAt_; }
    bool failureStep(const std::optional<Error>& error, const QDateTime& at);
    void recordFailure(RecordingFailure failure, bool counts, const QDateTime& at);
    bool clearFailure();

    static QString standardizedPath(const QString& path);

private:
    std::vector<RecordingTarget> targets_;
    QSet<QString> currentFilePaths_;
    quint64 set_ = 0;
    QHash<QString, quint64> openFiles_;  // path -> its set
    QHash<quint64, int> openPerSet_;

    std::optional<RecordingFailure> failure_;
    qint64 failureCount_ = 0;
    QDateTime failedAt_;
};
