#pragma once

#include "Error.h"
#include "IssuedNames.h"
#include "Recording.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <optional>

class LocalTimes;

// Knows the recordings folder in use and everything about the names of the
// files in it: issues a fresh, unique movie path for each recording that
// starts, reads recordings back from the folder, finds the newest movie,
// creates the folder when it is missing and reports the free space of its
// volume. Writes no file contents. Owned and called on one thread (the main
// thread); the static name functions keep no state and may be called anywhere.
//
// Paths are absolute file-system paths. The folder is flat: movies and their
// stills lie directly in it.
class FileOutputManager {
public:
    // Longest piece a name may have before its uniqueness suffix, frame-loss
    // mark and extension are added, in UTF-8 bytes.
    static constexpr qsizetype nameByteLimit = 247 - 19;

    // Takes the folder and creates it when it is missing.
    explicit FileOutputManager(QString folderPath);

    const QString& nelvoPath() const { return nelvoPath_; }
    const QSet<QString>& issuedPaths() const { return issued_.paths(); }

    // Takes up the folder when it differs from the one in use (compared in
    // cleaned form); true when something changed.
    bool adoptFolder(const QString& folderPath);
    // Sets the folder without comparing (a reload after the folder setting
    // changed): forgets the issued paths and creates the folder if missing.
    void setFolder(const QString& folderPath);
    // Creates the folder and its missing parents, each 0700, when nothing is at its
    // path; a failure is printed and surfaces later as a recording failure.
    void ensureFolder();

    // The path for a new movie: named after the start time and the devices,
    // not taken by any item and not issued for a file that is yet to appear.
    QString newRecordingURL(const std::optional<QString>& camera,
                            const std::optional<QString>& microphone, const QDateTime& start);
    // Lets go of a path issued once its recording finished.
    void recordingFinished(const QString& path) { issued_.finished(path); }

    // "yyyy-MM-dd HH.mm.ss - {camera} + {microphone}" in local time, without
    // uniqueness suffix or extension, at most nameByteLimit UTF-8 bytes.
    static QString recordingName(const QDateTime& start, const std::optional<QString>& camera,
                                 const std::optional<QString>& microphone);
    // The start time of a recording's file name (a last path component), or
    // nothing when the name is not a recording's.
    static std::optional<QDateTime> startDate(const QString& fileName);
    // What the files of one recording share: a file name without its
    // extension and without a trailing frame-loss mark (" - {N}s missing").
    static QString recordingStem(const QString& fileName);
    // Whether a file name has the movie extension ("mov", any case).
    static bool isMovie(const QString& fileName);
    // The still beside a movie: its path with the extension "jpg".
    static QString stillPath(const QString& moviePath);
    // The path a file that lost `seconds` is renamed to: its name with
    // " - {seconds}s missing" before the extension, in the same folder.
    static QString frameLossPath(const QString& filePath, qint64 seconds);
    // Where a finished movie is: the path it was opened under, or its
    // frame-loss name in the same folder when it was renamed for lost frames.
    static QString finishedPath(const QString& openedPath);

    // Every regular, non-hidden file in the folder whose name parses, in
    // listing order; empty when the folder cannot be listed.
    QList<Recording> recordings() const { return recordingsIn(nelvoPath_); }
    // The same for any folder, from any thread.
    static QList<Recording> recordingsIn(const QString& folder);
    // The ".mov" entry with the latest creation time, or nothing.
    std::optional<QString> newestRecording() const;
    // Free bytes on the folder's volume for an unprivileged writer, or
    // nothing when unknown.
    std::optional<qint64> availableCapacity() const;

    // Deletes a file for good (not to the trash).
    static std::optional<Error> removeFile(const QString& filePath);

private:
    static std::optional<QDateTime> startDateOf(QStringView fileName, LocalTimes* localTimes);

    QString nelvoPath_;
    IssuedNames issued_;
};
