#include "RecordingsFolder.h"

#include "Defaults.h"
#include "FileError.h"
#include "FolderReference.h"
#include "Log.h"
#include "SettingsKeys.h"

#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QStandardPaths>
#include <QUuid>
#include <cerrno>
#include <cstring>

namespace RecordingsFolder {

namespace {

constexpr char writeTestPrefix[] = ".nelvo-write-test-";

// The stored choice, resolved; renews a stale reference and reports a
// reference that cannot be read (it then counts as no choice).
std::optional<FolderReference::Resolution> storedChoice(Defaults& defaults) {
    const std::optional<QByteArray> data = defaults.data(SettingsKeys::recordingsFolderBookmark);
    if (!data) {
        return std::nullopt;
    }
    const std::optional<FolderReference> reference = FolderReference::fromData(*data);
    if (!reference) {
        // Said once per stored value: the folder is resolved before every
        // recording and for every look at the folder's state.
        static QByteArray reported;
        if (*data != reported) {
            reported = *data;
            Log::line(
                QStringLiteral("The stored recordings folder could not be read; "
                               "recordings go to the default folder"));
        }
        return std::nullopt;
    }
    FolderReference::Resolution resolution = reference->resolve();
    if (resolution.stale) {
        const auto renewed = FolderReference::make(resolution.path);
        if (const auto* fresh = std::get_if<FolderReference>(&renewed)) {
            defaults.set(SettingsKeys::recordingsFolderBookmark, fresh->data());
        }
    }
    return resolution;
}

}  // namespace

QString defaultFolder() {
    QString videos = QStandardPaths::writableLocation(QStandardPaths::MoviesLocation);
    if (videos.isEmpty()) {
        videos = QDir::homePath() + QStringLiteral("/Videos");
    }
    return QDir::cleanPath(videos + QStringLiteral("/Nelvo"));
}

std::optional<QString> chosenFolder(Defaults& defaults) {
    const std::optional<FolderReference::Resolution> choice = storedChoice(defaults);
    return choice ? std::optional(choice->path) : std::nullopt;
}

Resolved resolve(Defaults& defaults) {
    const std::optional<FolderReference::Resolution> chosen = storedChoice(defaults);
    if (!chosen) {
        return {defaultFolder(), false};
    }
    // Reachable means this very folder is there: an empty mount point left by
    // a detached disk is another folder.
    if (chosen->reachable) {
        return {chosen->path, false};
    }
    return {defaultFolder(), true};
}

std::optional<Error> choose(const QString& folder, Defaults& defaults) {
    auto reference = FolderReference::make(folder);
    if (const Error* error = std::get_if<Error>(&reference)) {
        return *error;
    }
    defaults.set(SettingsKeys::recordingsFolderBookmark,
                 std::get<FolderReference>(reference).data());
    return std::nullopt;
}

void removeWriteTests(const QString& folder) {
    DIR* dir = opendir(QFile::encodeName(folder).constData());
    if (dir == nullptr) {
        return;
    }
    while (const dirent* entry = readdir(dir)) {
        if (std::strncmp(entry->d_name, writeTestPrefix, sizeof writeTestPrefix - 1) == 0) {
            unlinkat(dirfd(dir), entry->d_name, 0);
        }
    }
    closedir(dir);
}

std::optional<Error> writeTest(const QString& folder) {
    removeWriteTests(folder);
    const QString testFile =
        QDir(folder).filePath(QLatin1String(writeTestPrefix) +
                              QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper());
    const QByteArray encoded = QFile::encodeName(testFile);
    const int fd =
        open(encoded.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
        return FileError::fromErrno(errno);
    }
    close(fd);
    unlink(encoded.constData());
    return std::nullopt;
}

std::optional<Error> chooseIfWritable(const QString& folder, Defaults& defaults) {
    if (std::optional<Error> error = writeTest(folder)) {
        return error;
    }
    return choose(folder, defaults);
}

FolderState folderState(Defaults& defaults) {
    const Resolved resolved = resolve(defaults);
    const std::optional<QString> chosen = chosenFolder(defaults);
    return stateOf(resolved, chosen, !writeTest(resolved.folder).has_value());
}

FolderState stateOf(const Resolved& resolved, const std::optional<QString>& chosen, bool writable) {
    if (resolved.fellBack && chosen) {
        return FolderState::fellBack(resolved.folder, *chosen);
    }
    return writable ? FolderState::inUse(resolved.folder)
                    : FolderState::notWritable(resolved.folder);
}

QString stateText(const FolderState& state) {
    switch (state.kind()) {
        case FolderState::Case::inUse:
            //: Settings, under the recordings folder
            return QCoreApplication::translate("RecordingsFolder", "Recordings are saved here.");
        case FolderState::Case::fellBack:
            //: Settings, under the recordings folder; the argument is the chosen folder
            return QCoreApplication::translate(
                       "RecordingsFolder",
                       "%1 isn't available, so recordings are going here for now.")
                .arg(displayPath(state.chosen()));
        case FolderState::Case::notWritable:
            //: Settings, under the recordings folder
            return QCoreApplication::translate("RecordingsFolder",
                                               "Nelvo isn't allowed to write here, so recordings "
                                               "will fail. Choose somewhere else.");
    }
    return {};
}

QString displayPath(const QString& path) {
    const QString home = QDir::cleanPath(QDir::homePath());
    if (home == QStringLiteral("/")) {
        return path;
    }
    if (path == home) {
        return QStringLiteral("~");
    }
    if (path.startsWith(home + u'/')) {
        return u'~' + path.sliced(home.size());
    }
    return path;
}

QString cantWriteTitle(const QString& folder) {
    //: Alert title after choosing a recordings folder; the argument is the folder
    return QCoreApplication::translate("RecordingsFolder", "Nelvo can't write to %1").arg(folder);
}

QString cantWriteText() {
    //: Alert text after choosing a recordings folder that can't be written
    return QCoreApplication::translate("RecordingsFolder",
                                       "Recordings are still going where they were. Some folders "
                                       "don't allow it, including backup disks and anything "
                                       "read-only.");
}

}  // namespace RecordingsFolder
