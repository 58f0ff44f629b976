#include "RecordingSet.h"

#include "MovieRecorder.h"

#include <QDir>
#include <QFileInfo>
#include <limits>

QString RecordingSet::standardizedPath(const QString& path) {
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

void RecordingSet::begin(const std::vector<RecordingTarget>& targets) {
    targets_ = targets;
    ++set_;
}

void RecordingSet::stopRecorders() const {
    for (const RecordingTarget& target : targets_) {
        target.recorder->stop();
    }
}

void RecordingSet::add(const QString& filePath) {
    const QString path = standardizedPath(filePath);
    currentFilePaths_.insert(path);
    if (!openFiles_.contains(path)) {
        openFiles_.insert(path, set_);
        openPerSet_[set_] += 1;
    }
}

RecordingSet::Finish RecordingSet::finished(const QString& filePath) {
    const QString path = standardizedPath(filePath);
    Finish finish;
    finish.wasCurrent = currentFilePaths_.remove(path);
    finish.currentEmptied = finish.wasCurrent && currentFilePaths_.isEmpty();
    const auto open = openFiles_.constFind(path);
    if (open != openFiles_.cend()) {
        const quint64 set = *open;
        openFiles_.erase(open);
        if (--openPerSet_[set] == 0) {
            openPerSet_.remove(set);
            finish.setWritten = true;
        }
    }
    return finish;
}

QSet<QString> RecordingSet::filesBeingWritten() const {
    QSet<QString> paths = currentFilePaths_;
    for (auto it = openFiles_.cbegin(); it != openFiles_.cend(); ++it) {
        paths.insert(it.key());
    }
    return paths;
}

// A file abandoned before its first keyframe holds nothing and is not a failure.
bool RecordingSet::failureStep(const std::optional<Error>& error, const QDateTime& at) {
    const bool abandoned =
        error && error->domain == Error::writerDomain && error->code == MovieRecorder::noDataCode;
    if (!error || abandoned) {
        return currentFilePaths_.isEmpty() && clearFailure();
    }
    // Files of one recording failing together count as one failed recording.
    const bool newInRow = !failedAt_.isValid() || currentFilePaths_.isEmpty();
    recordFailure(RecordingFailure::classify(*error), newInRow, at);
    return true;
}

void RecordingSet::recordFailure(RecordingFailure failure, bool counts, const QDateTime& at) {
    if (counts) {
        if (failureCount_ == std::numeric_limits<qint64>::max()) {
            qFatal("The recording failure count overflowed");
        }
        failureCount_ += 1;
    }
    failure_ = failure;
    failedAt_ = at;
}

bool RecordingSet::clearFailure() {
    if (!failure_ && failureCount_ == 0 && !failedAt_.isValid()) {
        return false;
    }
    failure_.reset();
    failureCount_ = 0;
    failedAt_ = QDateTime();
    return true;
}
