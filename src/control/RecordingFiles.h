#pragma once

#include "DiskBudget.h"
#include "Error.h"
#include "FailureLog.h"
#include "FolderState.h"
#include "RecordingFailure.h"
#include "RecordingSet.h"
#include "RecordingTarget.h"
#include "RecordingsListing.h"
#include "SizeLimit.h"

#include <QByteArray>
#include <QDateTime>
#include <QSet>
#include <QString>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class Clock;
class Defaults;
class FileOutputManager;
class Timer;

// Where Nelvo's recordings go and what becomes of their files: the folder in
// use and its last listing, one new file per camera at each start and
// roll-over, the failures files end with, and free space and the size limit
// while a recording runs. The recording manager owns the armed state: it
// says through `isRecording` whether a recording runs and changes the state
// through the hooks. Main thread only; the folder itself is read on the
// listing's and the size limit's own queues.
class RecordingFiles {
public:
    // Free space below this counts as a full volume.
    static constexpr qint64 freeSpaceThreshold = 2147483648;
    static constexpr int duringRecordingCheckSeconds = 30;

    RecordingFiles(Defaults& defaults, Clock& clock);
    ~RecordingFiles();

    // What the recording manager tells and is told.
    std::function<bool()> isRecording;
    std::function<std::optional<qint64>()> freeSpace;
    // A recording of `count` files is about to start: the state is recording.
    std::function<void(int count)> onStarting;
    // A file that was opened finished, with or without an error.
    std::function<void(const QString& filePath, const std::optional<Error>& error)> onFileDone;
    // The running recording's last file is done: the state is armed again.
    std::function<void()> onRecordingEnded;
    // ... and the files it ended with are looked after.
    std::function<void()> onRecordingsFinished;
    std::function<void()> onFailureChanged;
    std::function<void()> onDeletedChanged;

    // Starts a file per camera, in the folder as chosen now; false, with the
    // failure recorded, when the volume is full.
    bool start(const std::vector<RecordingTarget>& targets);
    // Continues every camera's recording in a new file from its next keyframe.
    void rollOver();
    // The running recording no longer waits for its files.
    void forgetCurrent() { set_.forgetCurrent(); }
    // Asks every recorder of the running recording to finish its file.
    void stopRecorders() const { set_.stopRecorders(); }
    // While recording: every recorder finishes its file, and the last one
    // done ends the recording (a quit waits for it).
    void finish();
    // While recording: every recorder stops at once, and the recording ends
    // as a full volume.
    void stopForSpace();
    // Follows the armed state: the in-recording check runs while recording.
    void followState();
    // Forgets the failure and the deletions on show.
    void clearNotices();

    const QSet<QString>& currentFilePaths() const { return set_.currentFilePaths(); }
    bool stoppingForSpace() const { return stoppingForSpace_; }
    const RecordingSet& set() const { return set_; }
    qint64 deletedCount() const { return sizeLimit_.deletedCount(); }
    QDateTime deletedAt() const { return sizeLimit_.deletedAt(); }

    FileOutputManager& fileOutputManager() const { return *fileOutputManager_; }
    // The folder is never read on the main thread: what depends on it (the
    // cost of a recording, What Happened, the folder's state) comes from the
    // listing's last reading, asked for anew whenever the armed state
    // changes, a file finishes or files are deleted.
    RecordingsListing& listing() { return listing_; }
    const RecordingsListing& listing() const { return listing_; }
    // How much one recording takes, from the last listing's recordings of the last day.
    std::optional<DiskBudget::RecordingCost> recordingCost(const QDateTime& now) const;
    // The folder's state, with the result of the last write test there.
    FolderState folderState();
    // Tests anew whether the folder in use can be written.
    void checkFolder();
    // A folder chosen anew in Settings is taken up at once.
    void reloadFolderWhenChosenAnew();

private:
    MovieRecorder::Completion completion();
    void fileFinished(const QString& filePath, const std::optional<Error>& error);
    void takeUpFolder();
    bool spaceRunsOut();
    void duringRecordingCheck();
    void enforceSizeLimit();
    void recordFailure(RecordingFailure failure);
    void failureChanged();

    Defaults& defaults_;
    Clock& clock_;
    std::unique_ptr<FileOutputManager> fileOutputManager_;
    QByteArray folderChoice_;  // the stored folder choice the file service was set up with
    RecordingsListing listing_;
    FailureLog failureLog_;
    RecordingSet set_;
    SizeLimit sizeLimit_;
    bool stoppingForSpace_ = false;
    std::unique_ptr<Timer> checkTimer_;
    // Completions find out through it whether the files still exist.
    std::shared_ptr<RecordingFiles*> self_;
};
