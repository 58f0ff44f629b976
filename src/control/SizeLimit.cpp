#include "SizeLimit.h"

#include "Defaults.h"
#include "DiskBudget.h"
#include "FileOutputManager.h"
#include "Log.h"
#include "RecordingSet.h"
#include "SettingsKeys.h"

#include <QFileInfo>
#include <limits>

bool SizeLimit::enforce(const QSet<QString>& beingWritten, const QDateTime& at) {
    const auto limit = DiskBudget::limitBytes(defaults_.integer(SettingsKeys::recordingsLimitGB));
    if (!limit) {
        return false;
    }
    const auto doomed = DiskBudget::filesToDelete(files_.recordings(), limit, beingWritten);
    qint64 deleted = 0;
    for (const Recording& recording : doomed) {
        if (const auto error = FileOutputManager::removeFile(recording.url)) {
            Log::line(QStringLiteral("Could not delete %1: %2")
                          .arg(QFileInfo(recording.url).fileName(), error->description));
        } else {
            ++deleted;
        }
    }
    if (deleted == 0) {
        return false;
    }
    if (deletedCount_ > std::numeric_limits<qint64>::max() - deleted) {
        qFatal("The deleted-recordings count overflowed");
    }
    deletedCount_ += deleted;
    deletedAt_ = at;
    Log::line(
        QStringLiteral("Deleted %1 oldest recording(s) to stay under the limit").arg(deleted));
    return true;
}

bool SizeLimit::exceededBy(const QSet<QString>& beingWritten) const {
    const auto limit = DiskBudget::limitBytes(defaults_.integer(SettingsKeys::recordingsLimitGB));
    if (!limit) {
        return false;
    }
    qint64 writing = 0;
    for (const Recording& recording : files_.recordings()) {
        if (beingWritten.contains(RecordingSet::standardizedPath(recording.url))) {
            writing += recording.bytes;
        }
    }
    return writing > *limit;
}

bool SizeLimit::clear() {
    if (deletedCount_ == 0 && !deletedAt_.isValid()) {
        return false;
    }
    deletedCount_ = 0;
    deletedAt_ = QDateTime();
    return true;
}
