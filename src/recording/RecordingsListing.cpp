#include "RecordingsListing.h"

#include "FileOutputManager.h"
#include "RecordingsFolder.h"

#include <QPointer>

RecordingsListing::RecordingsListing(QObject* parent) : QObject(parent) {}

RecordingsListing::~RecordingsListing() = default;

void RecordingsListing::setFolder(const QString& folder) {
    if (folder == folder_) {
        return;
    }
    folder_ = folder;
    recordings_.clear();
    listed_ = false;
    refresh();
}

void RecordingsListing::refresh() {
    if (reading_) {
        again_ = true;
        return;
    }
    startReading();
}

// Answers come back as queued calls; a listing gone meanwhile drops them.
// The queue compares each reading with the one it sent before, so an
// unchanged folder costs the main thread nothing but the answer.
void RecordingsListing::startReading() {
    reading_ = true;
    again_ = false;
    const QPointer<RecordingsListing> self(this);
    queue_.async([this, self, folder = folder_] {
        QList<Recording> found = FileOutputManager::recordingsIn(folder);
        const bool same = folder == sentFolder_ && found == sent_;
        sentFolder_ = folder;
        sent_ = found;
        QMetaObject::invokeMethod(
            self.data(),
            [self, folder, found = same ? QList<Recording>() : std::move(found), same] {
                if (self) {
                    self->listed(folder, found, same);
                }
            },
            Qt::QueuedConnection);
    });
}

void RecordingsListing::listed(const QString& folder, const QList<Recording>& recordings,
                               bool unchanged) {
    reading_ = false;
    if (folder == folder_) {
        const bool news = !listed_ || !unchanged;
        if (!unchanged) {
            recordings_ = recordings;
        }
        listed_ = true;
        if (news) {
            Q_EMIT changed();
        }
    } else {
        again_ = true;  // the folder changed while the old one was read
    }
    if (again_) {
        startReading();
    }
}

void RecordingsListing::checkWritable(const QString& folder) {
    const QPointer<RecordingsListing> self(this);
    queue_.async([self, folder] {
        const bool writable = !RecordingsFolder::writeTest(folder);
        QMetaObject::invokeMethod(
            self.data(),
            [self, folder, writable] {
                if (self) {
                    self->tested(folder, writable);
                }
            },
            Qt::QueuedConnection);
    });
}

void RecordingsListing::tested(const QString& folder, bool writable) {
    const bool news = folder != testedFolder_ || writable_ != writable;
    testedFolder_ = folder;
    writable_ = writable;
    if (news) {
        Q_EMIT changed();
    }
}
