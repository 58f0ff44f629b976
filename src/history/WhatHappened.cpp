#include "WhatHappened.h"

#include <QCoreApplication>
#include <algorithm>

namespace {

QString timeText(const QDateTime& date, const QTimeZone& zone, const QLocale& locale) {
    return locale.toString(date.toTimeZone(zone).time(), QLocale::ShortFormat);
}

}  // namespace

std::vector<Event> WhatHappened::eventsOf(const QList<Recording>& recordings,
                                          const ArmedStretch& stretch, double preRollSeconds) {
    // Recordings that began during the pre-roll before arming finished still
    // belong to the stretch.
    const qint64 preRollMs = preRollSeconds > 0 ? static_cast<qint64>(preRollSeconds * 1000) : 0;
    // Compared as moments: a local time would be converted at every comparison.
    const qint64 windowStart = stretch.from.toMSecsSinceEpoch() - preRollMs;
    const qint64 windowEnd = stretch.to.toMSecsSinceEpoch();

    std::vector<const Recording*> inStretch;
    for (const Recording& recording : recordings) {
        const qint64 started = recording.started.toMSecsSinceEpoch();
        if (started >= windowStart && started <= windowEnd) {
            inStretch.push_back(&recording);
        }
    }
    std::sort(inStretch.begin(), inStretch.end(), [](const auto* a, const auto* b) {
        if (a->started != b->started) {
            return a->started < b->started;
        }
        return a->url < b->url;
    });

    // The window is measured from each event's first file, so a chain of
    // files each less than 2 seconds apart does not grow one event forever.
    std::vector<Event> events;
    for (const Recording* recording : inStretch) {
        if (events.empty() || events.back().started.msecsTo(recording->started) > eventWindowMs) {
            events.push_back({recording->started, {recording->url}});
        } else {
            events.back().files.append(recording->url);
        }
    }
    return events;
}

QStringList WhatHappened::allFiles(const std::vector<Event>& events) {
    QStringList files;
    for (const Event& event : events) {
        files += event.files;
    }
    return files;
}

QString WhatHappened::stretchRangeText(const ArmedStretch& stretch, const QTimeZone& zone,
                                       const QLocale& locale) {
    const QDateTime from = stretch.from.toTimeZone(zone);
    const QDateTime to = stretch.to.toTimeZone(zone);
    if (from.date() == to.date()) {
        return QStringLiteral("%1 – %2").arg(locale.toString(from.time(), QLocale::ShortFormat),
                                             locale.toString(to.time(), QLocale::ShortFormat));
    }
    const auto dateAndTime = [&locale](const QDateTime& date) {
        return locale.toString(date.date(), QLocale::ShortFormat) + QStringLiteral(", ") +
               locale.toString(date.time(), QLocale::ShortFormat);
    };
    return QStringLiteral("%1 – %2").arg(dateAndTime(from), dateAndTime(to));
}

QString WhatHappened::durationText(qint64 seconds, const QLocale& locale) {
    seconds = std::max<qint64>(0, seconds);
    if (seconds < 60) {
        //: Abbreviated seconds of a duration, as in "45s"
        return tr("%1s").arg(locale.toString(seconds));
    }
    const qint64 units[] = {seconds / 86400, seconds % 86400 / 3600, seconds % 3600 / 60};
    const QString texts[] = {
        //: Abbreviated days of a duration, as in "2d"
        tr("%1d"),
        //: Abbreviated hours of a duration, as in "2h"
        tr("%1h"),
        //: Abbreviated minutes of a duration, as in "5m"
        tr("%1m"),
    };
    QStringList parts;
    for (int i = 0; i < 3 && parts.size() < 2; ++i) {
        if (units[i] != 0) {
            parts.append(texts[i].arg(locale.toString(units[i])));
        }
    }
    return parts.join(u' ');
}

QString WhatHappened::summaryText(const WhatHappened& what, const QTimeZone& zone,
                                  const QLocale& locale) {
    const QString duration = durationText(what.stretch.seconds(), locale);
    if (what.events.empty()) {
        //: Popover line under the state, after a disarm
        return tr("Armed for %1, nothing recorded").arg(duration);
    }
    if (what.events.size() == 1) {
        //: Popover line under the state, after a disarm
        return tr("Armed for %1: one recording at %2")
            .arg(duration, timeText(what.events.front().started, zone, locale));
    }
    //: Popover line under the state, after a disarm
    return tr("Armed for %1: %n recordings between %2 and %3", nullptr,
              static_cast<int>(what.events.size()))
        .arg(duration, timeText(what.events.front().started, zone, locale),
             timeText(what.events.back().started, zone, locale));
}
