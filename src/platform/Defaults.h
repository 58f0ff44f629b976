#pragma once

#include "SerialQueue.h"

#include <QByteArray>
#include <QDateTime>
#include <QFileSystemWatcher>
#include <QObject>
#include <QString>
#include <QVariant>
#include <QVariantHash>
#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

class QSettings;

// Nelvo's settings store (~/.config/Nelvo/Nelvo.conf). Registered defaults are
// kept in memory and answer only where nothing is stored. Reads come from
// memory and never wait on the disk; writes reach the file on the store's own
// queue. `changed` is delivered on the main thread after a write by this
// process and after the file was edited by someone else.
//
// Callers never cache a setting: every decision reads the store at that moment.
// Reads and writes are safe from any thread.
class Defaults : public QObject {
    Q_OBJECT

public:
    explicit Defaults(QString filePath, QObject* parent = nullptr);
    ~Defaults() override;

    // ~/.config/Nelvo/Nelvo.conf, or its place under QStandardPaths' test mode.
    static QString standardFilePath();
    const QString& filePath() const { return filePath_; }

    void registerDefaults(const QVariantHash& values);

    // The stored value, else the registered one, else an invalid QVariant.
    QVariant object(const QString& key) const;
    bool hasStoredValue(const QString& key) const;

    // Typed reads; absent values read as false, 0, or no value.
    bool boolValue(const QString& key) const;
    qint64 integer(const QString& key) const;  // a stored real number is truncated
    double real(const QString& key) const;     // a stored integer reads as a real number
    std::optional<QString> string(const QString& key) const;
    std::optional<QDateTime> date(const QString& key) const;
    std::optional<QByteArray> data(const QString& key) const;

    void set(const QString& key, const QVariant& value);
    void remove(const QString& key);

    // Waits until every write so far is in the file (quit, tests).
    void flush();

    // How a key is stored in the file: "/" and "\" would be read as groups by
    // the file format, so they are escaped reversibly.
    static QString fileKey(const QString& key);
    static QString keyFromFileKey(const QString& fileKey);

Q_SIGNALS:
    void changed();

private:
    using Change = std::pair<QString, std::optional<QVariant>>;  // no value: removal

    void scheduleWrite();
    void writePending();
    void reloadFromFile();
    QVariantHash readFile();
    void reportProblemOnce(const QString& problem);
    void announceChange();
    void watchFile();
    QByteArray fileStamp() const;

    const QString filePath_;
    mutable std::mutex mutex_;
    QVariantHash stored_;
    QVariantHash registered_;
    std::vector<Change> pending_;
    bool writeScheduled_ = false;
    std::atomic<bool> changeAnnounced_{false};

    // Owned by io_: only touched on that queue.
    std::unique_ptr<QSettings> settings_;
    QByteArray lastWrittenStamp_;
    bool problemReported_ = false;

    QFileSystemWatcher watcher_;
    SerialQueue io_{"Defaults"};
};
