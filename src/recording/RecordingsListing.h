#pragma once

#include "Recording.h"
#include "SerialQueue.h"

#include <QList>
#include <QObject>
#include <QString>
#include <optional>

// The recordings folder as last seen: its recordings and whether a file can
// be written in it. The folder is read on a queue of its own
// ("RecordingsListing"), never by the caller, so a large folder or a disk
// that has to wake up never holds up the interface; readers get the last
// known values at once and `changed` when newer ones arrive. Requests made
// while a reading is under way are answered by one more reading after it.
// Called on the main thread only.
class RecordingsListing : public QObject {
    Q_OBJECT

public:
    explicit RecordingsListing(QObject* parent = nullptr);
    ~RecordingsListing() override;

    // Reads this folder from now on (at once, when it is another one).
    void setFolder(const QString& folder);
    const QString& folder() const { return folder_; }

    // Asks for a fresh listing.
    void refresh();
    // Asks for a fresh write test of a folder: an empty hidden file made and
    // deleted there.
    void checkWritable(const QString& folder);

    // The last listing of the folder (empty until the first arrives).
    const QList<Recording>& recordings() const { return recordings_; }
    // Whether the folder has been listed since it was set and nothing newer is awaited.
    bool isCurrent() const { return listed_ && !reading_ && !again_; }
    // Whether the last write test of this folder passed; nothing until one
    // ran there.
    std::optional<bool> writable(const QString& folder) const {
        return folder == testedFolder_ ? writable_ : std::nullopt;
    }

Q_SIGNALS:
    // New recordings or a new write test result.
    void changed();

private:
    void startReading();
    void listed(const QString& folder, const QList<Recording>& recordings, bool unchanged);
    void tested(const QString& folder, bool writable);

    QString folder_;
    QList<Recording> recordings_;
    bool listed_ = false;
    bool reading_ = false;
    bool again_ = false;
    QString testedFolder_;
    std::optional<bool> writable_;
    // The queue's own: the last reading it sent.
    QString sentFolder_;
    QList<Recording> sent_;
    SerialQueue queue_{"RecordingsListing"};  // last: stops before the fields above go
};
