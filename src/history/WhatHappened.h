#pragma once

#include "ArmedStretch.h"
#include "Event.h"
#include "Recording.h"

#include <QCoreApplication>
#include <QList>
#include <QLocale>
#include <QString>
#include <QStringList>
#include <QTimeZone>
#include <vector>

// The last armed stretch with the events recorded in it, for the popover's
// line after a disarm and the menu's "Show What Happened".
struct WhatHappened {
    Q_DECLARE_TR_FUNCTIONS(WhatHappened)

public:
    ArmedStretch stretch;
    std::vector<Event> events;

    // Files started within 2 seconds of an event's first file join that event.
    static constexpr qint64 eventWindowMs = 2000;

    // The events of a stretch: the recordings started from the pre-roll before
    // `from` up to `to`, grouped by trigger, oldest first.
    static std::vector<Event> eventsOf(const QList<Recording>& recordings,
                                       const ArmedStretch& stretch, double preRollSeconds);
    static QStringList allFiles(const std::vector<Event>& events);

    // The stretch's times for menu titles; dates appear only when it spans days.
    static QString stretchRangeText(const ArmedStretch& stretch, const QTimeZone& zone,
                                    const QLocale& locale);
    // "Armed for 2h: 3 recordings between 22:14 and 05:02" and its variants.
    static QString summaryText(const WhatHappened& what, const QTimeZone& zone,
                               const QLocale& locale);
    // The abbreviated duration: seconds alone under a minute, else up to two
    // of days, hours and minutes, leaving out those that are zero.
    static QString durationText(qint64 seconds, const QLocale& locale);

    friend bool operator==(const WhatHappened&, const WhatHappened&) = default;
};
