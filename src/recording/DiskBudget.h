#pragma once

#include "Recording.h"

#include <QDateTime>
#include <QList>
#include <QSet>
#include <QString>
#include <optional>

// Keeps the recordings folder under the user's size limit by choosing the
// oldest recordings to delete, and states what a trigger typically costs.
// Keeps no state; the caller lists, deletes and reports.
namespace DiskBudget {

// The statistics behind the popover's trigger-cost line.
struct RecordingCost {
    qint64 count = 0;
    double typicalSeconds = 0;
    double minimumSeconds = 0;

    friend bool operator==(const RecordingCost&, const RecordingCost&) = default;
};

// The limit in bytes for the "recordingsLimitGB" setting: none below 1,
// values above 10000 count as 10000 gibibytes.
std::optional<qint64> limitBytes(qint64 limitGB);

// The recordings to delete, in deletion order, so that the folder's total
// falls to the limit: oldest recordings first, each recording's files
// together (movie first), never a recording that has a file being written
// (inProgressPaths: cleaned absolute paths).
QList<Recording> filesToDelete(const QList<Recording>& recordings, std::optional<qint64> limitBytes,
                               const QSet<QString>& inProgressPaths);

// What files of one recording share: the cleaned folder path, "/", and the
// file name without its extension and without a trailing frame-loss mark.
QString groupKey(const QString& filePath);

// Trigger-cost statistics over the recordings of the last day, or nothing
// with 9 or fewer of them. Lengths are estimated at 8 Mbit/s; the minimum is
// the pre-roll (0...30 s) plus the timeout (0...600 s).
std::optional<RecordingCost> recordingCost(const QList<Recording>& recordings, const QDateTime& now,
                                           double preRollSeconds, double timeoutSeconds);

// The popover's trigger-cost sentence.
QString costText(qint64 count, double typicalSeconds, double minimumSeconds);

}  // namespace DiskBudget
