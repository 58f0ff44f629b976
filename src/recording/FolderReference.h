#pragma once

#include "Error.h"

#include <QByteArray>
#include <QString>
#include <optional>
#include <variant>

// A lasting reference to a folder the user chose, kept in the settings as
// data: the folder's path and the device and inode that identify it on its
// file system. It finds the folder again after a rename within its parent
// folder, after its file system came back under another device number, or
// when it was made again at the same place; such a reference is stale and
// should be renewed. A folder on a disk that is not attached is unreachable,
// which is not the same as a reference that cannot be read at all.
class FolderReference {
public:
    struct Resolution {
        QString path;    // where the folder is, or was last known to be
        bool stale;      // found, but the reference no longer describes it
        bool reachable;  // the folder is there now
    };

    // A reference to the folder at the path (absolute), or why none can be made.
    static std::variant<FolderReference, Error> make(const QString& path);
    // The reference stored as data, or nothing when the data is not one.
    static std::optional<FolderReference> fromData(const QByteArray& data);
    QByteArray data() const;

    Resolution resolve() const;

    const QString& path() const { return path_; }
    quint64 device() const { return device_; }
    quint64 inode() const { return inode_; }

    friend bool operator==(const FolderReference&, const FolderReference&) = default;

    FolderReference(QString path, quint64 device, quint64 inode)
        : path_(std::move(path)), device_(device), inode_(inode) {}

private:
    std::optional<QString> renamedWithinParent() const;

    QString path_;
    quint64 device_;
    quint64 inode_;
};
