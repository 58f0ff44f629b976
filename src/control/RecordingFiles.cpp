#include "RecordingFiles.h"

#include "Clock.h"
#include "Defaults.h"
#include "FileOutputManager.h"
#include "MainThread.h"
#include "RecordingsFolder.h"
#include "SettingsKeys.h"

#include <QFileInfo>
#include <algorithm>

RecordingFiles::RecordingFiles(Defaults& defaults, Clock& clock)
    : defaults_(defaults),
      clock_(clock),
      fileOutputManager_(
          std::make_unique<FileOutputManager>(RecordingsFolder::resolve(defaults).folder)),
      folderChoice_(defaults.data(SettingsKeys::recordingsFolderBookmark).value_or(QByteArray())),
      sizeLimit_(defaults, *fileOutputManager_),
      checkTimer_(clock.makeTimer([this] { duringRecordingCheck(); })),
      self_(std::make_shared<RecordingFiles*>(this)) {
    freeSpace = [this] { return fileOutputManager_->availableCapacity(); };
    listing_.setFolder(fileOutputManager_->nelvoPath());
    sizeLimit_.onDeleted = [this] {
        listing_.refresh();
        if (onDeletedChanged) {
            onDeletedChanged();
        }
    };
}

RecordingFiles::~RecordingFiles() {
    *self_ = nullptr;
}

bool RecordingFiles::start(const std::vector<RecordingTarget>& targets) {
    takeUpFolder();
    if (spaceRunsOut()) {
        recordFailure(RecordingFailure::diskFull);
        return false;
    }
    if (onStarting) {
        onStarting(static_cast<int>(targets.size()));
    }
    set_.begin(targets);
    stoppingForSpace_ = false;
    for (const auto& target : targets) {
        const QDateTime start = target.recorder->startDate();
        const QString path =
            fileOutputManager_->newRecordingURL(target.cameraName, target.microphoneName, start);
        set_.add(path);
        target.recorder->start(path, completion());
    }
    return true;
}

// A folder chosen in Settings, or a fallback, takes effect with the next
// recording; the default folder is Nelvo's own and is made again when it
// went away (a chosen folder that went away falls back to it).
void RecordingFiles::takeUpFolder() {
    const QString folder = RecordingsFolder::resolve(defaults_).folder;
    fileOutputManager_->adoptFolder(folder);
    if (folder == RecordingsFolder::defaultFolder()) {
        fileOutputManager_->ensureFolder();
    }
    listing_.setFolder(fileOutputManager_->nelvoPath());
}

bool RecordingFiles::spaceRunsOut() {
    const auto free = freeSpace();
    return free && *free < freeSpaceThreshold;
}

// Recorders finish files on their own queues; the news is taken on the main
// thread, and only while these files are still looked after.
MovieRecorder::Completion RecordingFiles::completion() {
    return [self = self_](const QString& filePath, std::optional<Error> error) {
        MainThread::post([self, filePath, error = std::move(error)] {
            if (*self) {
                (*self)->fileFinished(filePath, error);
            }
        });
    };
}

void RecordingFiles::fileFinished(const QString& filePath, const std::optional<Error>& error) {
    // A roll its recorder could not continue opened no file: it is only forgotten.
    const bool opened = !MovieRecorder::isRollDropped(error);
    if (opened) {
        // Files are private to their owner from the moment they are created.
        if (error) {
            failureLog_.fileFailed(QFileInfo(filePath).fileName(), *error, clock_.now());
        }
        if (set_.failureStep(error, clock_.now())) {
            failureChanged();
        }
        if (onFileDone) {
            onFileDone(filePath, error);
        }
    }
    fileOutputManager_->recordingFinished(filePath);
    listing_.refresh();
    const RecordingSet::Finish finish = set_.finished(filePath);
    const bool recordingEnded = isRecording() && finish.currentEmptied;
    if (recordingEnded) {
        if (onRecordingEnded) {
            onRecordingEnded();
        }
        if (stoppingForSpace_) {
            stoppingForSpace_ = false;
            recordFailure(RecordingFailure::diskFull);
        }
    }
    // Whatever stopped the recording and whatever the state is now.
    if (finish.setWritten) {
        enforceSizeLimit();
    }
    if (recordingEnded && onRecordingsFinished) {
        onRecordingsFinished();
    }
}

void RecordingFiles::recordFailure(RecordingFailure failure) {
    set_.recordFailure(failure, true, clock_.now());
    failureChanged();
}

void RecordingFiles::clearNotices() {
    if (set_.clearFailure()) {
        failureChanged();
    }
    if (sizeLimit_.clear() && onDeletedChanged) {
        onDeletedChanged();
    }
}

void RecordingFiles::failureChanged() {
    if (onFailureChanged) {
        onFailureChanged();
    }
}

void RecordingFiles::finish() {
    if (!isRecording()) {
        return;
    }
    set_.stopRecorders();
}

void RecordingFiles::stopForSpace() {
    if (!isRecording() || stoppingForSpace_) {
        return;
    }
    stoppingForSpace_ = true;
    set_.stopRecorders();
}

void RecordingFiles::followState() {
    if (isRecording()) {
        if (!checkTimer_->isActive()) {
            const std::chrono::seconds every(duringRecordingCheckSeconds);
            checkTimer_->start(every, every);
        }
    } else {
        checkTimer_->stop();
    }
}

// Space and the size limit while recording. A recording that alone exceeds
// the limit continues in a new file, so the limit can delete its finished part.
void RecordingFiles::duringRecordingCheck() {
    if (!isRecording() || stoppingForSpace_) {
        return;
    }
    if (spaceRunsOut()) {
        stopForSpace();
        return;
    }
    enforceSizeLimit();
    sizeLimit_.whenExceededBy(set_.currentFilePaths(), [this] { rollOver(); });
}

void RecordingFiles::rollOver() {
    if (!isRecording()) {
        return;
    }
    for (const auto& target : set_.targets()) {
        const QString path = fileOutputManager_->newRecordingURL(
            target.cameraName, target.microphoneName, clock_.now());
        set_.add(path);
        target.recorder->roll(path, completion());
    }
}

void RecordingFiles::enforceSizeLimit() {
    sizeLimit_.enforce(set_.filesBeingWritten(), clock_.now());
}

// A folder chosen anew in Settings is taken up at once, without comparing.
void RecordingFiles::reloadFolderWhenChosenAnew() {
    const QByteArray choice =
        defaults_.data(SettingsKeys::recordingsFolderBookmark).value_or(QByteArray());
    if (choice == folderChoice_) {
        return;
    }
    folderChoice_ = choice;
    fileOutputManager_->setFolder(RecordingsFolder::resolve(defaults_).folder);
    listing_.setFolder(fileOutputManager_->nelvoPath());
}

FolderState RecordingFiles::folderState() {
    const RecordingsFolder::Resolved resolved = RecordingsFolder::resolve(defaults_);
    return RecordingsFolder::stateOf(resolved, RecordingsFolder::chosenFolder(defaults_),
                                     listing_.writable(resolved.folder).value_or(true));
}

void RecordingFiles::checkFolder() {
    listing_.checkWritable(RecordingsFolder::resolve(defaults_).folder);
}

std::optional<DiskBudget::RecordingCost> RecordingFiles::recordingCost(const QDateTime& now) const {
    const double preRoll =
        SettingsKeys::clampedPreRollSeconds(defaults_.real(SettingsKeys::preRollSeconds));
    const double timeout = static_cast<double>(
        std::clamp<qint64>(defaults_.integer(SettingsKeys::timeoutValueInSeconds), 0, 600));
    return DiskBudget::recordingCost(listing_.recordings(), now, preRoll, timeout);
}
