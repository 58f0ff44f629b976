#include "SizeLimit.h"

#include "Defaults.h"
#include "DiskBudget.h"
#include "FileOutputManager.h"
#include "Log.h"
#include "MainThread.h"
#include "RecordingSet.h"
#include "SettingsKeys.h"

#include <QFileInfo>
#include <limits>

namespace {

// Deletes the chosen recordings; how many went.
qint64 deleteAbove(const QString& folder, qint64 limit, const QSet<QString>& beingWritten) {
    const auto doomed =
        DiskBudget::filesToDelete(FileOutputManager::recordingsIn(folder), limit, beingWritten);
    qint64 deleted = 0;
    for (const Recording& recording : doomed) {
        if (const auto error = FileOutputManager::removeFile(recording.url)) {
            Log::line(QStringLiteral("Could not delete %1: %2")
                          .arg(QFileInfo(recording.url).fileName(), error->description));
        } else {
            ++deleted;
        }
    }
    if (deleted > 0) {
        Log::line(
            QStringLiteral("Deleted %1 oldest recording(s) to stay under the limit").arg(deleted));
    }
    return deleted;
}

qint64 writtenBytes(const QString& folder, const QSet<QString>& beingWritten) {
    qint64 writing = 0;
    for (const Recording& recording : FileOutputManager::recordingsIn(folder)) {
        if (beingWritten.contains(RecordingSet::standardizedPath(recording.url))) {
            writing += recording.bytes;
        }
    }
    return writing;
}

}  // namespace

SizeLimit::SizeLimit(Defaults& defaults, const FileOutputManager& files)
    : defaults_(defaults), files_(files), self_(std::make_shared<SizeLimit*>(this)) {}

SizeLimit::~SizeLimit() {
    *self_ = nullptr;
}

void SizeLimit::enforce(const QSet<QString>& beingWritten, const QDateTime& at) {
    const auto limit = DiskBudget::limitBytes(defaults_.integer(SettingsKeys::recordingsLimitGB));
    if (!limit) {
        return;
    }
    queue_.async([self = self_, folder = files_.nelvoPath(), limit = *limit, beingWritten, at] {
        const qint64 count = deleteAbove(folder, limit, beingWritten);
        if (count > 0) {
            MainThread::post([self, count, at] {
                if (*self) {
                    (*self)->deleted(count, at);
                }
            });
        }
    });
}

void SizeLimit::deleted(qint64 count, const QDateTime& at) {
    if (deletedCount_ > std::numeric_limits<qint64>::max() - count) {
        qFatal("The deleted-recordings count overflowed");
    }
    deletedCount_ += count;
    deletedAt_ = at;
    if (onDeleted) {
        onDeleted();
    }
}

void SizeLimit::whenExceededBy(const QSet<QString>& beingWritten, std::function<void()> then) {
    const auto limit = DiskBudget::limitBytes(defaults_.integer(SettingsKeys::recordingsLimitGB));
    if (!limit) {
        return;
    }
    queue_.async([self = self_, folder = files_.nelvoPath(), limit = *limit, beingWritten,
                  then = std::move(then)] {
        if (writtenBytes(folder, beingWritten) > limit) {
            MainThread::post([self, then] {
                if (*self) {
                    then();
                }
            });
        }
    });
}

bool SizeLimit::clear() {
    if (deletedCount_ == 0 && !deletedAt_.isValid()) {
        return false;
    }
    deletedCount_ = 0;
    deletedAt_ = QDateTime();
    return true;
}
