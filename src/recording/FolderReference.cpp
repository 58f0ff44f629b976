#include "FolderReference.h"

#include "FileError.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <cerrno>
#include <cstring>

namespace {

const QString pathField = QStringLiteral("path");
const QString deviceField = QStringLiteral("device");
const QString inodeField = QStringLiteral("inode");

std::optional<quint64> decimal(const QJsonValue& value) {
    bool ok = false;
    const quint64 number = value.toString().toULongLong(&ok);
    return ok ? std::optional(number) : std::nullopt;
}

}  // namespace

std::variant<FolderReference, Error> FolderReference::make(const QString& path) {
    const QString cleaned = QDir::cleanPath(path);
    struct stat info {};
    if (stat(QFile::encodeName(cleaned).constData(), &info) != 0) {
        return FileError::fromErrno(errno);
    }
    if (!S_ISDIR(info.st_mode)) {
        return FileError::fromErrno(ENOTDIR);
    }
    return FolderReference(cleaned, info.st_dev, info.st_ino);
}

std::optional<FolderReference> FolderReference::fromData(const QByteArray& data) {
    const QJsonDocument document = QJsonDocument::fromJson(data);
    if (!document.isObject()) {
        return std::nullopt;
    }
    const QJsonObject object = document.object();
    const QString path = object.value(pathField).toString();
    const std::optional<quint64> device = decimal(object.value(deviceField));
    const std::optional<quint64> inode = decimal(object.value(inodeField));
    if (!path.startsWith(u'/') || !device || !inode) {
        return std::nullopt;
    }
    return FolderReference(QDir::cleanPath(path), *device, *inode);
}

QByteArray FolderReference::data() const {
    // Numbers as text: JSON numbers would lose the high bits of 64-bit values.
    const QJsonObject object{{pathField, path_},
                             {deviceField, QString::number(device_)},
                             {inodeField, QString::number(inode_)}};
    return QJsonDocument(object).toJson(QJsonDocument::Compact);
}

FolderReference::Resolution FolderReference::resolve() const {
    struct stat info {};
    if (stat(QFile::encodeName(path_).constData(), &info) == 0) {
        if (!S_ISDIR(info.st_mode)) {
            return {path_, false, false};
        }
        const bool sameDevice = info.st_dev == device_;
        const bool sameInode = info.st_ino == inode_;
        if (sameDevice && sameInode) {
            return {path_, false, true};
        }
        // Same inode under another device number: the file system was mounted
        // again. Same file system, other inode: the folder was made again here.
        if (sameDevice || sameInode) {
            return {path_, true, true};
        }
        // Another file system answers at the path, typically the empty mount
        // point of a disk that is not attached.
        return {path_, false, false};
    }
    if (const std::optional<QString> renamed = renamedWithinParent()) {
        return {*renamed, true, true};
    }
    return {path_, false, false};
}

// The folder under another name beside where it was, found by its identity.
std::optional<QString> FolderReference::renamedWithinParent() const {
    const qsizetype slash = path_.lastIndexOf(u'/');
    if (slash < 0) {
        return std::nullopt;
    }
    const QString parent = slash == 0 ? QStringLiteral("/") : path_.first(slash);
    DIR* dir = opendir(QFile::encodeName(parent).constData());
    if (dir == nullptr) {
        return std::nullopt;
    }
    std::optional<QString> found;
    while (const dirent* entry = readdir(dir)) {
        if (entry->d_type != DT_DIR && entry->d_type != DT_UNKNOWN) {
            continue;
        }
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) {
            continue;
        }
        struct stat info {};
        if (fstatat(dirfd(dir), entry->d_name, &info, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISDIR(info.st_mode) && info.st_dev == device_ && info.st_ino == inode_) {
            const QString name = QFile::decodeName(entry->d_name);
            found = parent.endsWith(u'/') ? parent + name : parent + u'/' + name;
            break;
        }
    }
    closedir(dir);
    return found;
}
