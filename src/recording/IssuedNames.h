#pragma once

#include <QSet>
#include <QString>

// The movie paths handed out for recordings whose files are not on disk yet.
// A recorder opens its path later, on its own queue, so until the file
// appears only this record keeps the same name from being handed out twice.
// Once the file exists the folder itself shows the name taken, and once its
// recording finished nothing more is written under it: the path is forgotten
// at whichever comes first, so the record holds only the recordings in
// flight however long Nelvo runs. Used on one thread.
class IssuedNames {
public:
    const QSet<QString>& paths() const { return paths_; }

    // Whether a path is taken: handed out and still kept, or anything at all
    // (a file, a folder, a link even when it leads nowhere) is at it.
    bool isTaken(const QString& path) const;
    // Keeps a path handed out and forgets those whose files exist by now.
    void issue(const QString& path);
    // Forgets a path whose recording finished, written or not.
    void finished(const QString& path) { paths_.remove(path); }
    void clear() { paths_.clear(); }

    static bool itemExists(const QString& path);

private:
    QSet<QString> paths_;
};
