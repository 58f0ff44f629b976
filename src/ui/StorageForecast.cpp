#include "StorageForecast.h"

#include "DiskBudget.h"

#include <QCoreApplication>
#include <QLocale>
#include <QSet>
#include <algorithm>
#include <cmath>

namespace {
constexpr qint64 secondsPerDay = 86400;
}

std::optional<double> StorageForecast::bytesPerDay(const QList<Recording>& recordings,
                                                   const QDateTime& at) {
    const QDateTime now = at.toUTC();  // listed starts are UTC: compared without converting
    const QDateTime weekAgo = now.addSecs(-windowDays * secondsPerDay);
    QSet<QString> groups;
    QDateTime first = now;
    double bytes = 0;
    for (const Recording& recording : recordings) {
        if (recording.started > now || recording.started <= weekAgo) {
            continue;
        }
        groups.insert(DiskBudget::groupKey(recording.url));
        first = std::min(first, recording.started);
        bytes += static_cast<double>(recording.bytes);
    }
    if (groups.size() < minimumRecordings) {
        return std::nullopt;
    }
    const qint64 span = std::max(first.secsTo(now), secondsPerDay);
    return bytes * secondsPerDay / static_cast<double>(span);
}

QString StorageForecast::text(const QList<Recording>& recordings, const QDateTime& now,
                              qint64 limitGB) {
    const std::optional<double> perDay = bytesPerDay(recordings, now);
    if (!perDay) {
        return {};
    }
    if (limitGB < 1) {
        const QString size = QLocale().formattedDataSize(std::llround(*perDay), 1,
                                                         QLocale::DataSizeTraditionalFormat);
        //: Settings, under the size limit when there is none; the argument is a size
        return QCoreApplication::translate("StorageForecast",
                                           "At this week's rate, Nelvo records about %1 a day.")
            .arg(size);
    }
    if (*perDay <= 0) {
        return {};
    }
    const qint64 limit = std::min(limitGB, largestLimitGB);
    const double days = static_cast<double>(limit << 30) / *perDay;
    const int shown = static_cast<int>(std::min(std::round(days), 1e9));
    //: Settings, under the size limit; the arguments are the limit in GB and a number of days
    return QCoreApplication::translate(
               "StorageForecast", "At this week's rate, %1 GB holds about %n days of recordings.",
               nullptr, shown)
        .arg(QLocale().toString(limit));
}
