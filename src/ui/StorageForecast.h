#pragma once

#include "Recording.h"

#include <QDateTime>
#include <QList>
#include <QString>
#include <optional>

// How long the recordings folder's size limit lasts at the pace of the last
// week, shown under the limit in Settings. Free of widgets: it only reads a
// listing of the folder.
class StorageForecast {
public:
    static constexpr int windowDays = 7;
    static constexpr int minimumRecordings = 3;
    static constexpr qint64 largestLimitGB = 10000;

    // Bytes recorded per day over the last week, or nothing when fewer than
    // three recordings (a movie and its still count once) started in it.
    // The week is shortened to the time since the first of them, but never
    // below one day, so a folder begun yesterday is not read as a quiet week.
    static std::optional<double> bytesPerDay(const QList<Recording>& recordings,
                                             const QDateTime& now);

    // The sentence for a limit in whole gibibytes (below 1: no limit), or an
    // empty text when there is nothing to forecast.
    static QString text(const QList<Recording>& recordings, const QDateTime& now, qint64 limitGB);
};
