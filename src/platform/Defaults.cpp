#include "Defaults.h"

#include "Log.h"

#include <sys/stat.h>
#include <algorithm>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSettings>
#include <QStandardPaths>

Defaults::Defaults(QString filePath, QObject* parent)
    : QObject(parent), filePath_(std::move(filePath)) {
    io_.sync([this] {
        QDir().mkpath(QFileInfo(filePath_).absolutePath());
        settings_ = std::make_unique<QSettings>(filePath_, QSettings::IniFormat);
        QVariantHash values = readFile();
        std::lock_guard lock(mutex_);
        stored_ = std::move(values);
    });
    connect(&watcher_, &QFileSystemWatcher::fileChanged, this,
            [this] { io_.async([this] { reloadFromFile(); }); });
    connect(&watcher_, &QFileSystemWatcher::directoryChanged, this, [this] {
        watchFile();
        io_.async([this] { reloadFromFile(); });
    });
    watchFile();
}

Defaults::~Defaults() {
    flush();
    io_.sync([this] { settings_.reset(); });
}

QString Defaults::standardFilePath() {
    return QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
           QStringLiteral("/Nelvo/Nelvo.conf");
}

void Defaults::registerDefaults(const QVariantHash& values) {
    std::lock_guard lock(mutex_);
    for (auto it = values.begin(); it != values.end(); ++it) {
        registered_.insert(it.key(), it.value());
    }
}

QVariant Defaults::object(const QString& key) const {
    std::lock_guard lock(mutex_);
    auto it = stored_.constFind(key);
    if (it != stored_.constEnd()) {
        return *it;
    }
    return registered_.value(key);
}

bool Defaults::hasStoredValue(const QString& key) const {
    std::lock_guard lock(mutex_);
    return stored_.contains(key);
}

bool Defaults::boolValue(const QString& key) const {
    const QVariant value = object(key);
    if (value.typeId() == QMetaType::QString) {
        const QString text = value.toString().trimmed().toLower();
        return text == u"true" || text == u"yes" || text.toDouble() != 0;
    }
    return value.toBool();
}

qint64 Defaults::integer(const QString& key) const {
    const QVariant value = object(key);
    bool ok = false;
    if (value.typeId() == QMetaType::QString) {
        // The file stores numbers as text; a real number is truncated, like
        // any real number read as an integer.
        const QString text = value.toString().trimmed();
        const qint64 whole = text.toLongLong(&ok);
        if (ok) {
            return whole;
        }
        const double fraction = text.toDouble(&ok);
        if (ok && fraction > -9.2e18 && fraction < 9.2e18) {
            return static_cast<qint64>(fraction);
        }
        return boolValue(key) ? 1 : 0;
    }
    if (value.typeId() == QMetaType::Double || value.typeId() == QMetaType::Float) {
        const double fraction = value.toDouble();
        return fraction > -9.2e18 && fraction < 9.2e18 ? static_cast<qint64>(fraction) : 0;
    }
    const qint64 whole = value.toLongLong(&ok);
    return ok ? whole : 0;
}

double Defaults::real(const QString& key) const {
    bool ok = false;
    const double value = object(key).toDouble(&ok);
    return ok ? value : 0.0;
}

std::optional<QString> Defaults::string(const QString& key) const {
    const QVariant value = object(key);
    if (value.typeId() == QMetaType::QString || value.typeId() == QMetaType::Int ||
        value.typeId() == QMetaType::LongLong || value.typeId() == QMetaType::Double) {
        return value.toString();
    }
    return std::nullopt;
}

std::optional<QDateTime> Defaults::date(const QString& key) const {
    const QVariant value = object(key);
    QDateTime date;
    if (value.typeId() == QMetaType::QDateTime) {
        date = value.toDateTime();
    } else if (value.typeId() == QMetaType::QString) {
        date = QDateTime::fromString(value.toString(), Qt::ISODateWithMs);
    }
    return date.isValid() ? std::optional(date) : std::nullopt;
}

std::optional<QByteArray> Defaults::data(const QString& key) const {
    const QVariant value = object(key);
    if (value.typeId() == QMetaType::QByteArray) {
        return value.toByteArray();
    }
    if (value.typeId() == QMetaType::QString) {
        return value.toString().toUtf8();
    }
    return std::nullopt;
}

void Defaults::set(const QString& key, const QVariant& value) {
    {
        std::lock_guard lock(mutex_);
        stored_.insert(key, value);
        pending_.emplace_back(key, value);
    }
    scheduleWrite();
    announceChange();
}

void Defaults::remove(const QString& key) {
    {
        std::lock_guard lock(mutex_);
        stored_.remove(key);
        pending_.emplace_back(key, std::nullopt);
    }
    scheduleWrite();
    announceChange();
}

void Defaults::flush() {
    io_.sync([this] { writePending(); });
}

QString Defaults::fileKey(const QString& key) {
    QString escaped;
    escaped.reserve(key.size());
    for (QChar c : key) {
        if (c == u'%') {
            escaped += u"%25";
        } else if (c == u'/') {
            escaped += u"%2F";
        } else if (c == u'\\') {
            escaped += u"%5C";
        } else {
            escaped += c;
        }
    }
    return escaped;
}

QString Defaults::keyFromFileKey(const QString& fileKey) {
    QString key;
    key.reserve(fileKey.size());
    for (qsizetype i = 0; i < fileKey.size(); ++i) {
        const QStringView rest = QStringView(fileKey).mid(i, 3);
        if (rest == u"%25") {
            key += u'%';
        } else if (rest.compare(u"%2F", Qt::CaseInsensitive) == 0) {
            key += u'/';
        } else if (rest.compare(u"%5C", Qt::CaseInsensitive) == 0) {
            key += u'\\';
        } else {
            key += fileKey[i];
            continue;
        }
        i += 2;
    }
    return key;
}

void Defaults::scheduleWrite() {
    {
        std::lock_guard lock(mutex_);
        if (writeScheduled_) {
            return;
        }
        writeScheduled_ = true;
    }
    io_.async([this] { writePending(); });
}

void Defaults::writePending() {
    std::vector<Change> changes;
    {
        std::lock_guard lock(mutex_);
        changes.swap(pending_);
        writeScheduled_ = false;
    }
    if (changes.empty()) {
        return;
    }
    for (const auto& [key, value] : changes) {
        if (value) {
            settings_->setValue(fileKey(key), *value);
        } else {
            settings_->remove(fileKey(key));
        }
    }
    settings_->sync();
    if (settings_->status() == QSettings::AccessError) {
        reportProblemOnce(QStringLiteral("could not be written"));
    }
    lastWrittenStamp_ = fileStamp();
}

// Another process edited the file: take its values, keep our own writes that
// have not reached the file yet, and tell observers when anything differs.
void Defaults::reloadFromFile() {
    if (fileStamp() == lastWrittenStamp_) {
        return;  // our own write
    }
    writePending();
    QVariantHash values = readFile();
    lastWrittenStamp_ = fileStamp();
    bool differs = false;
    {
        std::lock_guard lock(mutex_);
        for (const auto& [key, value] : pending_) {
            if (value) {
                values.insert(key, *value);
            } else {
                values.remove(key);
            }
        }
        differs = values != stored_;
        stored_ = std::move(values);
    }
    if (differs) {
        announceChange();
    }
}

namespace {

// Printable characters only, as in every key Nelvo writes (a device's name
// may be in any script); undecodable bytes and control characters are not.
bool isPlainKey(const QString& key) {
    const QList<uint> characters = key.toUcs4();
    return !characters.isEmpty() &&
           std::all_of(characters.begin(), characters.end(), [](uint c) {
               return QChar::isPrint(char32_t(c)) && c != QChar::ReplacementCharacter;
           });
}

}  // namespace

QVariantHash Defaults::readFile() {
    // The file is parsed on first use, and a parse problem shows only in the
    // status of the sync that follows.
    settings_->allKeys();
    settings_->sync();
    QVariantHash values;
    const bool damaged = settings_->status() != QSettings::NoError;
    if (damaged) {
        // Keep the user's file as it was before anything is written over it.
        const QString keep = filePath_ + QStringLiteral(".unreadable");
        if (QFile::exists(filePath_) && !QFile::exists(keep)) {
            QFile::copy(filePath_, keep);
        }
        reportProblemOnce(QStringLiteral("could not be read; a copy is kept as %1").arg(keep));
    }
    QVariantHash readable;
    for (const QString& key : settings_->allKeys()) {
        // Names no setting has are debris of the damage: written back, they
        // would make the file unreadable at every start.
        if (!damaged || isPlainKey(key)) {
            readable.insert(key, settings_->value(key));
            values.insert(keyFromFileKey(key), readable.value(key));
        }
    }
    if (damaged) {
        // What could be read is written back as a sound file of its own.
        settings_->clear();
        for (auto it = readable.begin(); it != readable.end(); ++it) {
            settings_->setValue(it.key(), it.value());
        }
        settings_->sync();
    }
    return values;
}

void Defaults::reportProblemOnce(const QString& problem) {
    if (problemReported_) {
        return;
    }
    problemReported_ = true;
    Log::line(QStringLiteral("The settings file %1 %2").arg(filePath_, problem));
}

void Defaults::announceChange() {
    if (changeAnnounced_.exchange(true)) {
        return;
    }
    QMetaObject::invokeMethod(
        this,
        [this] {
            changeAnnounced_ = false;
            Q_EMIT changed();
        },
        Qt::QueuedConnection);
}

void Defaults::watchFile() {
    const QString dir = QFileInfo(filePath_).absolutePath();
    if (!watcher_.directories().contains(dir)) {
        watcher_.addPath(dir);
    }
    if (QFile::exists(filePath_) && !watcher_.files().contains(filePath_)) {
        watcher_.addPath(filePath_);
    }
}

// Identifies one version of the file on disk: inode, size and change time.
QByteArray Defaults::fileStamp() const {
    struct stat info {};
    if (::stat(QFile::encodeName(filePath_).constData(), &info) != 0) {
        return {};
    }
    return QByteArray::number(static_cast<qulonglong>(info.st_ino)) + ':' +
           QByteArray::number(static_cast<qlonglong>(info.st_size)) + ':' +
           QByteArray::number(static_cast<qlonglong>(info.st_mtim.tv_sec)) + '.' +
           QByteArray::number(static_cast<qlonglong>(info.st_mtim.tv_nsec));
}
