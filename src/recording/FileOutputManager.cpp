#include "FileOutputManager.h"

#include "FileError.h"
#include "Log.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QStringDecoder>
#include <QTextBoundaryFinder>
#include <cerrno>
#include <cstring>
#include <limits>

namespace {

constexpr qsizetype dateLength = 19;  // "yyyy-MM-dd HH.mm.ss"

// Closes a directory listing on every way out.
class DirectoryListing {
public:
    explicit DirectoryListing(const QString& path) : dir_(opendir(QFile::encodeName(path))) {}
    ~DirectoryListing() {
        if (dir_ != nullptr) {
            closedir(dir_);
        }
    }
    DirectoryListing(const DirectoryListing&) = delete;
    DirectoryListing& operator=(const DirectoryListing&) = delete;

    bool isOpen() const { return dir_ != nullptr; }
    int fd() const { return dirfd(dir_); }
    const dirent* next() { return readdir(dir_); }

private:
    DIR* dir_;
};

QString joinedPath(const QString& folder, const QString& name) {
    return folder.endsWith(u'/') ? folder + name : folder + u'/' + name;
}

// A name read from the folder, or nothing when its bytes are not UTF-8 text
// (such a file could not be addressed again through its decoded name).
std::optional<QString> decodedName(const char* bytes) {
    QStringDecoder decoder(QStringDecoder::Utf8, QStringDecoder::Flag::Stateless);
    QString name = decoder(QByteArrayView(bytes));
    if (decoder.hasError()) {
        return std::nullopt;
    }
    return name;
}

QString formattedStart(const QDateTime& start) {
    const QDateTime local = start.toLocalTime();
    const QDate date = local.date();
    const QTime time = local.time();
    return QString::asprintf("%04d-%02d-%02d %02d.%02d.%02d", date.year(), date.month(), date.day(),
                             time.hour(), time.minute(), time.second());
}

// Characters that would break a line or steer a terminal wherever the name
// is printed (logs, scripts reading the folder).
bool isControl(QChar c) {
    return c.category() == QChar::Other_Control || c.category() == QChar::Separator_Line ||
           c.category() == QChar::Separator_Paragraph;
}

// A device name made safe for a file name: path separators (and the NUL that
// Linux forbids in names) become "-", surrounding whitespace goes, and the
// control characters left inside become "-" too.
QString cleanedDeviceName(QString name) {
    name.replace(u'/', u'-').replace(u':', u'-').replace(QChar(u'\0'), u'-');
    name = name.trimmed();
    for (QChar& c : name) {
        if (isControl(c)) {
            c = u'-';
        }
    }
    return name;
}

// Cuts whole grapheme clusters from the end until the UTF-8 form fits.
QString cappedToUtf8Bytes(const QString& text, qsizetype limit) {
    qsizetype bytes = text.toUtf8().size();
    if (bytes <= limit) {
        return text;
    }
    QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
    finder.toEnd();
    qsizetype end = text.size();
    while (bytes > limit) {
        const qsizetype start = finder.toPreviousBoundary();
        if (start < 0) {
            return {};
        }
        bytes -= QStringView(text).sliced(start, end - start).toUtf8().size();
        end = start;
    }
    return text.first(end);
}

QString trimmedOfSpacesAndTabs(const QString& text) {
    qsizetype first = 0;
    qsizetype last = text.size();
    auto isBlank = [](QChar c) { return c == u' ' || c == u'\t'; };
    while (first < last && isBlank(text[first])) {
        ++first;
    }
    while (last > first && isBlank(text[last - 1])) {
        --last;
    }
    return text.sliced(first, last - first);
}

// Where a name's extension begins (its last dot), or -1 without one; a
// leading dot starts a hidden name, not an extension.
qsizetype extensionDot(QStringView name) {
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot > 0 ? dot : -1;
}

QStringView withoutExtension(QStringView name) {
    const qsizetype dot = extensionDot(name);
    return dot < 0 ? name : name.first(dot);
}

// The name without a trailing " - {digits}s missing".
QStringView withoutFrameLossMark(QStringView stem) {
    constexpr QStringView tail = u"s missing";
    constexpr QStringView lead = u" - ";
    if (!stem.endsWith(tail)) {
        return stem;
    }
    qsizetype digitsStart = stem.size() - tail.size();
    while (digitsStart > 0 && stem[digitsStart - 1].unicode() >= u'0' &&
           stem[digitsStart - 1].unicode() <= u'9') {
        --digitsStart;
    }
    if (digitsStart == stem.size() - tail.size() || !stem.first(digitsStart).endsWith(lead)) {
        return stem;
    }
    return stem.first(digitsStart - lead.size());
}

}  // namespace

// The UTC moment of local times. Each conversion of a local time looks the
// time zone up again; a listing meets the same hours over and over, so it
// learns each hour's offset once and converts directly where the offset is
// the same at both ends of the hour.
class LocalTimes {
public:
    std::optional<QDateTime> toUtc(QDate date, QTime time) {
        const qint64 key = date.toJulianDay() * 24 + time.hour();
        auto found = offsets_.constFind(key);
        if (found == offsets_.cend()) {
            found = offsets_.insert(key, hourOffset(date, time.hour()));
        }
        if (*found) {
            return QDateTime(date, time, Qt::UTC).addSecs(-**found);
        }
        return convertedOnce(date, time);
    }

    static std::optional<QDateTime> convertedOnce(QDate date, QTime time) {
        const QDateTime local(date, time, Qt::LocalTime);
        return local.isValid() ? std::optional(local.toUTC()) : std::nullopt;
    }

private:
    // The hour's offset when no change of offset lies within an hour of it,
    // so every local time in it names exactly one moment.
    static std::optional<int> hourOffset(QDate date, int hour) {
        const QDateTime first(date, QTime(hour, 0, 0), Qt::LocalTime);
        if (!first.isValid()) {
            return std::nullopt;
        }
        const int offset = first.offsetFromUtc();
        const qint64 naiveFirst = QDateTime(date, QTime(hour, 0, 0), Qt::UTC).toSecsSinceEpoch();
        // Moments to local time are unambiguous; check the offset across the
        // hour and an hour either side.
        for (const qint64 moment : {naiveFirst - offset - 3600, naiveFirst - offset + 2 * 3600}) {
            if (QDateTime::fromSecsSinceEpoch(moment, Qt::LocalTime).offsetFromUtc() != offset) {
                return std::nullopt;
            }
        }
        return offset;
    }

    QHash<qint64, std::optional<int>> offsets_;
};

namespace {

// Reads "dddd-dd-dd dd.dd.dd" strictly; the fields must form a real date
// and time of day.
std::optional<QDateTime> parsedStart(QStringView text, LocalTimes* localTimes) {
    int fields[6] = {};
    // Offsets of each field, and the separator that must follow it.
    static constexpr struct {
        qsizetype offset;
        qsizetype length;
        char16_t separator;
    } layout[6] = {{0, 4, u'-'},  {5, 2, u'-'},  {8, 2, u' '},
                   {11, 2, u'.'}, {14, 2, u'.'}, {17, 2, 0}};
    for (int i = 0; i < 6; ++i) {
        int value = 0;
        for (qsizetype k = 0; k < layout[i].length; ++k) {
            const QChar c = text[layout[i].offset + k];
            if (c < u'0' || c > u'9') {
                return std::nullopt;
            }
            value = value * 10 + (c.unicode() - u'0');
        }
        const qsizetype after = layout[i].offset + layout[i].length;
        if (layout[i].separator != 0 && text[after] != layout[i].separator) {
            return std::nullopt;
        }
        fields[i] = value;
    }
    const QDate date(fields[0], fields[1], fields[2]);
    const QTime time(fields[3], fields[4], fields[5]);
    if (!date.isValid() || !time.isValid()) {
        return std::nullopt;
    }
    // Kept as UTC: comparing local times would convert them at every comparison.
    return localTimes != nullptr ? localTimes->toUtc(date, time)
                                 : LocalTimes::convertedOnce(date, time);
}

// Creation time from the file system, in nanoseconds since the epoch: the
// birth time where the file system records one, otherwise the last
// modification.
std::optional<qint64> creationTime(int folderFd, const char* name) {
    struct statx info {};
    if (statx(folderFd, name, AT_SYMLINK_NOFOLLOW, STATX_BTIME | STATX_MTIME, &info) != 0) {
        return std::nullopt;
    }
    statx_timestamp stamp{};
    if ((info.stx_mask & STATX_BTIME) != 0) {
        stamp = info.stx_btime;
    } else if ((info.stx_mask & STATX_MTIME) != 0) {
        stamp = info.stx_mtime;
    } else {
        return std::nullopt;
    }
    return static_cast<qint64>(stamp.tv_sec) * 1'000'000'000 + stamp.tv_nsec;
}

}  // namespace

FileOutputManager::FileOutputManager(QString folderPath) : nelvoPath_(std::move(folderPath)) {
    ensureFolder();
}

bool FileOutputManager::adoptFolder(const QString& folderPath) {
    if (QDir::cleanPath(folderPath) == QDir::cleanPath(nelvoPath_)) {
        return false;
    }
    setFolder(folderPath);
    return true;
}

void FileOutputManager::setFolder(const QString& folderPath) {
    nelvoPath_ = folderPath;
    issued_.clear();
    ensureFolder();
}

void FileOutputManager::ensureFolder() {
    if (IssuedNames::itemExists(nelvoPath_)) {
        return;
    }
    const QString folder = QDir::cleanPath(nelvoPath_);
    // Creates each missing folder on the way, then the recordings folder;
    // every folder made here is its owner's alone.
    const QStringList parts = folder.split(u'/');
    QString prefix = folder.startsWith(u'/') ? QStringLiteral("/") : QString();
    for (const QString& part : parts) {
        if (part.isEmpty()) {
            continue;
        }
        prefix = prefix.isEmpty() ? part : joinedPath(prefix, part);
        const QByteArray path = QFile::encodeName(prefix);
        if (mkdir(path.constData(), 0700) == 0) {
            // The process's umask may have narrowed the mode; a failure leaves
            // it so. Set on the folder just made, never through a link put in
            // its place.
            const int fd = open(path.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
            if (fd >= 0) {
                fchmod(fd, 0700);
                close(fd);
            }
            continue;
        }
        const int error = errno;
        if (error == EEXIST && prefix.size() < folder.size()) {
            continue;
        }
        if (error != EEXIST) {
            Log::line(
                FileError::fromErrno(
                    error, QStringLiteral("Could not create the recordings folder %1").arg(folder))
                    .description);
        }
        return;
    }
}

QString FileOutputManager::newRecordingURL(const std::optional<QString>& camera,
                                           const std::optional<QString>& microphone,
                                           const QDateTime& start) {
    const QString base = recordingName(start, camera, microphone);
    QString candidate = joinedPath(nelvoPath_, base + QStringLiteral(".mov"));
    for (qint64 n = 2; issued_.isTaken(candidate); ++n) {
        candidate =
            joinedPath(nelvoPath_, base + u' ' + QString::number(n) + QStringLiteral(".mov"));
    }
    issued_.issue(candidate);
    return candidate;
}

QString FileOutputManager::recordingName(const QDateTime& start,
                                         const std::optional<QString>& camera,
                                         const std::optional<QString>& microphone) {
    QStringList devices;
    for (const std::optional<QString>& name : {camera, microphone}) {
        if (name) {
            QString cleaned = cleanedDeviceName(*name);
            if (!cleaned.isEmpty()) {
                devices.append(std::move(cleaned));
            }
        }
    }
    QString name = formattedStart(start);
    if (!devices.isEmpty()) {
        name += QStringLiteral(" - ") + devices.join(QStringLiteral(" + "));
    }
    return trimmedOfSpacesAndTabs(cappedToUtf8Bytes(name, nameByteLimit));
}

std::optional<QDateTime> FileOutputManager::startDate(const QString& fileName) {
    return startDateOf(fileName, nullptr);
}

std::optional<QDateTime> FileOutputManager::startDateOf(QStringView fileName,
                                                        LocalTimes* localTimes) {
    const QStringView stem = withoutExtension(fileName);
    if (stem.size() < dateLength) {
        return std::nullopt;
    }
    const QStringView rest = stem.sliced(dateLength);
    if (!rest.isEmpty() && !rest.startsWith(u" - ")) {
        return std::nullopt;
    }
    return parsedStart(stem.first(dateLength), localTimes);
}

QString FileOutputManager::recordingStem(const QString& fileName) {
    return withoutFrameLossMark(withoutExtension(fileName)).toString();
}

bool FileOutputManager::isMovie(const QString& fileName) {
    const qsizetype dot = extensionDot(fileName);
    return dot >= 0 &&
           QStringView(fileName).sliced(dot + 1).compare(u"mov", Qt::CaseInsensitive) == 0;
}

QString FileOutputManager::stillPath(const QString& moviePath) {
    const qsizetype nameStart = moviePath.lastIndexOf(u'/') + 1;
    const qsizetype dot = extensionDot(QStringView(moviePath).sliced(nameStart));
    const qsizetype stemEnd = dot < 0 ? moviePath.size() : nameStart + dot;
    return moviePath.first(stemEnd) + QStringLiteral(".jpg");
}

QString FileOutputManager::finishedPath(const QString& openedPath) {
    const QFileInfo opened(openedPath);
    if (opened.exists()) {
        return openedPath;
    }
    // Renamed: the same name with a frame-loss mark before the extension.
    const QString prefix = withoutExtension(opened.fileName()).toString() + QStringLiteral(" - ");
    const QString stem = recordingStem(opened.fileName());
    for (const QString& name : opened.dir().entryList(QDir::Files)) {
        if (name.startsWith(prefix) && recordingStem(name) == stem &&
            QFileInfo(name).suffix() == opened.suffix()) {
            return opened.dir().filePath(name);
        }
    }
    return openedPath;
}

QString FileOutputManager::frameLossPath(const QString& filePath, qint64 seconds) {
    const qsizetype nameStart = filePath.lastIndexOf(u'/') + 1;
    const qsizetype dot = extensionDot(QStringView(filePath).sliced(nameStart));
    const qsizetype stemEnd = dot < 0 ? filePath.size() : nameStart + dot;
    return filePath.first(stemEnd) + QStringLiteral(" - %1s missing").arg(seconds) +
           filePath.sliced(stemEnd);
}

QList<Recording> FileOutputManager::recordingsIn(const QString& folder) {
    QList<Recording> found;
    LocalTimes localTimes;
    DirectoryListing listing(folder);
    if (!listing.isOpen()) {
        return found;
    }
    while (const dirent* entry = listing.next()) {
        if (entry->d_name[0] == '.') {
            continue;  // hidden, including "." and ".."
        }
        if (entry->d_type != DT_REG && entry->d_type != DT_UNKNOWN) {
            continue;
        }
        const std::optional<QString> name = decodedName(entry->d_name);
        if (!name) {
            continue;
        }
        std::optional<QDateTime> started = startDateOf(*name, &localTimes);
        if (!started) {
            continue;
        }
        struct stat info {};
        if (fstatat(listing.fd(), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) != 0 ||
            !S_ISREG(info.st_mode)) {
            continue;  // vanished meanwhile, unreadable, or not a regular file
        }
        found.append(Recording{joinedPath(folder, *name), std::move(*started),
                               static_cast<qint64>(info.st_size)});
    }
    return found;
}

std::optional<QString> FileOutputManager::newestRecording() const {
    DirectoryListing listing(nelvoPath_);
    if (!listing.isOpen()) {
        return std::nullopt;
    }
    std::optional<QString> newest;
    qint64 newestCreated = 0;
    while (const dirent* entry = listing.next()) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) {
            continue;
        }
        const std::optional<QString> name = decodedName(entry->d_name);
        if (!name) {
            continue;
        }
        if (!isMovie(*name)) {
            continue;
        }
        const std::optional<qint64> created = creationTime(listing.fd(), entry->d_name);
        if (!created) {
            continue;
        }
        if (!newest || *created > newestCreated) {
            newest = joinedPath(nelvoPath_, *name);
            newestCreated = *created;
        }
    }
    return newest;
}

std::optional<qint64> FileOutputManager::availableCapacity() const {
    struct statvfs info {};
    if (statvfs(QFile::encodeName(nelvoPath_).constData(), &info) != 0) {
        return std::nullopt;
    }
    // Blocks available to unprivileged writers, not those kept for root.
    unsigned long long bytes = 0;
    if (__builtin_mul_overflow(static_cast<unsigned long long>(info.f_bavail),
                               static_cast<unsigned long long>(info.f_frsize), &bytes) ||
        bytes > static_cast<unsigned long long>(std::numeric_limits<qint64>::max())) {
        return std::numeric_limits<qint64>::max();
    }
    return static_cast<qint64>(bytes);
}

std::optional<Error> FileOutputManager::removeFile(const QString& filePath) {
    if (unlink(QFile::encodeName(filePath).constData()) == 0) {
        return std::nullopt;
    }
    return FileError::fromErrno(errno);
}
