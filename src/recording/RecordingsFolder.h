#pragma once

#include "Error.h"
#include "FolderState.h"

#include <QString>
#include <optional>

class Defaults;

// Decides where recordings go: the folder the user chose (kept as a folder
// reference under "recordingsFolderBookmark"), or the default folder in the
// user's videos folder when there is no choice or the chosen folder cannot be
// reached. Also tests whether a folder can be written and describes the
// outcome for Settings. Main thread only, but for the write test and the
// removal of its leftovers, which only touch the folder; keeps no state of
// its own beyond the unreadable stored value it last reported.
namespace RecordingsFolder {

struct Resolved {
    QString folder;
    bool fellBack = false;  // a chosen folder exists but cannot be reached

    friend bool operator==(const Resolved&, const Resolved&) = default;
};

// The videos folder (XDG_VIDEOS_DIR) + "Nelvo".
QString defaultFolder();

// The chosen folder, reachable or not, or nothing when no choice is stored
// or the stored reference cannot be read. Renews a stale reference.
std::optional<QString> chosenFolder(Defaults& defaults);

// The folder to use now. A fallback is silent and temporary: the choice is
// kept and used again as soon as the chosen folder is back.
Resolved resolve(Defaults& defaults);

// Stores a reference to the folder as the user's choice.
std::optional<Error> choose(const QString& folder, Defaults& defaults);

// Deletes leftover write-test files in the folder; failures are ignored.
void removeWriteTests(const QString& folder);

// Whether a new file can be written in the folder: clears leftover test
// files, writes an empty one and deletes it again.
std::optional<Error> writeTest(const QString& folder);

// What Settings does with a folder the user picked: it is chosen only when
// the write test passes (and the reference can be made); otherwise nothing
// is stored and recordings keep going where they went.
std::optional<Error> chooseIfWritable(const QString& folder, Defaults& defaults);

// Resolves and tests the folder, for Settings.
FolderState folderState(Defaults& defaults);
// The state of a resolved folder whose write test passed or not: a fallback
// wins over a failed write test.
FolderState stateOf(const Resolved& resolved, const std::optional<QString>& chosen, bool writable);

// The sentence Settings shows under the folder.
QString stateText(const FolderState& state);

// The path as the user reads it: the home folder written as "~".
QString displayPath(const QString& path);

// The alert shown when a picked folder cannot be written.
QString cantWriteTitle(const QString& folder);
QString cantWriteText();

}  // namespace RecordingsFolder
