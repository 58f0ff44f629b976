#include "DiskBudget.h"

#include "FileOutputManager.h"

#include <QCoreApplication>
#include <QDir>
#include <QHash>
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace DiskBudget {

namespace {

constexpr qint64 maximumLimitGB = 10000;
constexpr double estimatedBitsPerSecond = 8'000'000;
constexpr qint64 secondsPerDay = 86400;

struct Group {
    QList<Recording> members;
    QDateTime earliest;  // invalid while empty: the distant past
    bool inProgress = false;
};

qint64 checkedSum(qint64 a, qint64 b) {
    qint64 sum = 0;
    if (__builtin_add_overflow(a, b, &sum)) {
        qFatal("The recordings' byte count overflowed");
    }
    return sum;
}

QString lastComponent(const QString& path) {
    return path.sliced(path.lastIndexOf(u'/') + 1);
}

bool isEarlier(const QDateTime& a, const QDateTime& b) {
    if (!a.isValid() || !b.isValid()) {
        return !a.isValid() && b.isValid();
    }
    return a < b;
}

qint64 roundedSeconds(double seconds) {
    const double rounded = std::round(seconds);
    if (!std::isfinite(rounded) || rounded < -9.2e18 || rounded > 9.2e18) {
        qFatal("A trigger-cost figure is not a whole number of seconds: %f", seconds);
    }
    return static_cast<qint64>(rounded);
}

}  // namespace

std::optional<qint64> limitBytes(qint64 limitGB) {
    if (limitGB < 1) {
        return std::nullopt;
    }
    return std::min(limitGB, maximumLimitGB) << 30;
}

QString groupKey(const QString& filePath) {
    const qsizetype slash = filePath.lastIndexOf(u'/');
    const QString folder = slash < 0 ? QString() : filePath.first(slash == 0 ? 1 : slash);
    QString key = QDir::cleanPath(folder);
    if (!key.endsWith(u'/')) {
        key += u'/';
    }
    key += FileOutputManager::recordingStem(lastComponent(filePath));
    return key;
}

QList<Recording> filesToDelete(const QList<Recording>& recordings, std::optional<qint64> limitBytes,
                               const QSet<QString>& inProgressPaths) {
    QList<Recording> chosen;
    if (!limitBytes || *limitBytes < 1) {
        return chosen;
    }
    qint64 total = 0;
    for (const Recording& recording : recordings) {
        total = checkedSum(total, recording.bytes);
    }
    if (total <= *limitBytes) {
        return chosen;
    }

    // Groups in order of first appearance, so equal starts keep listing order.
    std::vector<Group> groups;
    QHash<QString, qsizetype> indexByKey;
    for (const Recording& recording : recordings) {
        const QString key = groupKey(recording.url);
        qsizetype index = indexByKey.value(key, -1);
        if (index < 0) {
            index = static_cast<qsizetype>(groups.size());
            indexByKey.insert(key, index);
            groups.emplace_back();
        }
        Group& group = groups[static_cast<size_t>(index)];
        group.members.append(recording);
        if (!group.earliest.isValid() || recording.started < group.earliest) {
            group.earliest = recording.started;
        }
        group.inProgress =
            group.inProgress || inProgressPaths.contains(QDir::cleanPath(recording.url));
    }
    // A recording being written, and everything beside it, is never deleted.
    std::erase_if(groups, [](const Group& group) { return group.inProgress; });
    std::stable_sort(groups.begin(), groups.end(), [](const Group& a, const Group& b) {
        return isEarlier(a.earliest, b.earliest);
    });

    for (Group& group : groups) {
        if (total <= *limitBytes) {
            break;
        }
        std::stable_partition(group.members.begin(), group.members.end(), [](const Recording& r) {
            return FileOutputManager::isMovie(lastComponent(r.url));
        });
        qint64 groupBytes = 0;
        for (const Recording& member : group.members) {
            groupBytes = checkedSum(groupBytes, member.bytes);
        }
        chosen.append(group.members);
        total -= groupBytes;
    }
    return chosen;
}

std::optional<RecordingCost> recordingCost(const QList<Recording>& recordings, const QDateTime& now,
                                           double preRollSeconds, double timeoutSeconds) {
    // Compared as moments: a local time would be converted at every comparison.
    const qint64 last = now.toMSecsSinceEpoch();
    const qint64 dayAgo = last - secondsPerDay * 1000;
    std::vector<double> lengths;
    for (const Recording& recording : recordings) {
        const qint64 started = recording.started.toMSecsSinceEpoch();
        if (started <= last && started >= dayAgo) {
            lengths.push_back(static_cast<double>(recording.bytes) * 8 / estimatedBitsPerSecond);
        }
    }
    if (lengths.size() <= 9) {
        return std::nullopt;
    }
    std::sort(lengths.begin(), lengths.end());
    const double typical = lengths[lengths.size() / 2];
    const double minimum =
        std::clamp(preRollSeconds, 0.0, 30.0) + std::clamp(timeoutSeconds, 0.0, 600.0);
    return RecordingCost{static_cast<qint64>(lengths.size()), typical, minimum};
}

QString costText(qint64 count, double typicalSeconds, double minimumSeconds) {
    const qint64 typical = roundedSeconds(typicalSeconds);
    const qint64 minimum = roundedSeconds(minimumSeconds);
    if (typicalSeconds < minimumSeconds * 1.5) {
        //: Popover; never fewer than three recordings, so no singular; the second argument is
        //: seconds
        return QCoreApplication::translate(
                   "DiskBudget",
                   "%1 recordings in the last day, most barely longer than the %2s minimum.")
            .arg(count)
            .arg(minimum);
    }
    //: Popover; never fewer than three recordings, so no singular; the other arguments are seconds
    return QCoreApplication::translate(
               "DiskBudget",
               "%1 recordings in the last day, typically %2s. Nelvo can't make one shorter than "
               "%3s.")
        .arg(count)
        .arg(typical)
        .arg(minimum);
}

}  // namespace DiskBudget
