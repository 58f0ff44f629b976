#include "WhatHappened.h"

#include <QTest>

namespace {
const QDateTime base(QDate(2024, 1, 1), QTime(12, 0), QTimeZone::utc());
Recording file(const QString& path, qint64 msAfterBase) {
    return {path, base.addMSecs(msAfterBase), 1000};
}
const QLocale english(QLocale::English, QLocale::UnitedStates);
const QTimeZone berlin("Europe/Berlin");
}  // namespace

class tst_WhatHappened : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void preRollWindow() {
        const ArmedStretch stretch{base, base.addSecs(3600)};
        const QList<Recording> recordings{file(QStringLiteral("/r/early.mov"), -5000)};
        QCOMPARE(WhatHappened::eventsOf(recordings, stretch, 10).size(), 1u);
        QCOMPARE(WhatHappened::eventsOf(recordings, stretch, 3).size(), 0u);
        QCOMPARE(WhatHappened::eventsOf(recordings, stretch, 0).size(), 0u);
        QCOMPARE(WhatHappened::eventsOf(recordings, stretch, -4).size(), 0u);
        // The end is inclusive, after it is not.
        QCOMPARE(WhatHappened::eventsOf({file(QStringLiteral("/r/a"), 3600000)}, stretch, 0).size(),
                 1u);
        QCOMPARE(WhatHappened::eventsOf({file(QStringLiteral("/r/a"), 3600001)}, stretch, 0).size(),
                 0u);
    }

    void twoSecondWindowFromTheFirstFile() {
        const ArmedStretch stretch{base, base.addSecs(3600)};
        const QList<Recording> recordings{
            file(QStringLiteral("/r/d"), 12500), file(QStringLiteral("/r/a"), 10000),
            file(QStringLiteral("/r/c"), 12000), file(QStringLiteral("/r/b"), 11500)};
        const std::vector<Event> events = WhatHappened::eventsOf(recordings, stretch, 5);
        QCOMPARE(events.size(), 2u);
        QCOMPARE(events.at(0), (Event{base.addSecs(10), {"/r/a", "/r/b", "/r/c"}}));
        QCOMPARE(events.at(1), (Event{base.addMSecs(12500), {"/r/d"}}));
        QCOMPARE(WhatHappened::allFiles(events), (QStringList{"/r/a", "/r/b", "/r/c", "/r/d"}));
    }

    void sameStartOrderedByPath() {
        const ArmedStretch stretch{base, base.addSecs(3600)};
        const QList<Recording> recordings{
            file(QStringLiteral("/r/2024-01-01 12.00.10 - USB Camera + Mic.mov"), 10000),
            file(QStringLiteral("/r/2024-01-01 12.00.10 - Built-in Camera + Mic.mov"), 10000),
            file(QStringLiteral("/r/2024-01-01 12.00.10 - Built-in Camera + Mic.jpg"), 10000)};
        const std::vector<Event> events = WhatHappened::eventsOf(recordings, stretch, 5);
        QCOMPARE(events.size(), 1u);
        QCOMPARE(events.at(0).files,
                 (QStringList{"/r/2024-01-01 12.00.10 - Built-in Camera + Mic.jpg",
                              "/r/2024-01-01 12.00.10 - Built-in Camera + Mic.mov",
                              "/r/2024-01-01 12.00.10 - USB Camera + Mic.mov"}));
    }

    void durations() {
        QCOMPARE(WhatHappened::durationText(45, english), QStringLiteral("45s"));
        QCOMPARE(WhatHappened::durationText(2 * 3600 + 30, english), QStringLiteral("2h"));
        QCOMPARE(WhatHappened::durationText(3 * 3600 + 5 * 60 + 7, english),
                 QStringLiteral("3h 5m"));
        QCOMPARE(WhatHappened::durationText(86400 + 2 * 3600 + 60, english),
                 QStringLiteral("1d 2h"));
        QCOMPARE(WhatHappened::durationText(60, english), QStringLiteral("1m"));
        QCOMPARE(WhatHappened::durationText(-5, english), QStringLiteral("0s"));
    }

    void summaries() {
        const ArmedStretch shortStretch{base, base.addSecs(45)};
        QCOMPARE(WhatHappened::summaryText({shortStretch, {}}, berlin, english),
                 QStringLiteral("Armed for 45s, nothing recorded"));
        const ArmedStretch longStretch{base, base.addSecs(2 * 3600 + 30)};
        QCOMPARE(WhatHappened::summaryText({longStretch, {Event{base.addSecs(600), {"/r/a"}}}},
                                           berlin, english),
                 QStringLiteral("Armed for 2h: one recording at %1")
                     .arg(english.toString(QTime(13, 10), QLocale::ShortFormat)));
        const WhatHappened three{
            longStretch,
            {Event{base.addSecs(600), {"/r/a"}}, Event{base.addSecs(900), {"/r/b"}},
             Event{base.addSecs(3600), {"/r/c", "/r/d"}}}};
        QCOMPARE(WhatHappened::summaryText(three, berlin, english),
                 QStringLiteral("Armed for 2h: 3 recordings between %1 and %2")
                     .arg(english.toString(QTime(13, 10), QLocale::ShortFormat),
                          english.toString(QTime(14, 0), QLocale::ShortFormat)));
    }

    void rangeTexts() {
        // 23:00 to 07:00 Berlin time spans two days: dates are shown.
        const QDateTime night(QDate(2024, 1, 1), QTime(23, 0), berlin);
        const QString overnight =
            WhatHappened::stretchRangeText({night, night.addSecs(8 * 3600)}, berlin, english);
        QCOMPARE(overnight, QStringLiteral("%1, %2 – %3, %4")
                                .arg(english.toString(QDate(2024, 1, 1), QLocale::ShortFormat),
                                     english.toString(QTime(23, 0), QLocale::ShortFormat),
                                     english.toString(QDate(2024, 1, 2), QLocale::ShortFormat),
                                     english.toString(QTime(7, 0), QLocale::ShortFormat)));
        const QDateTime morning(QDate(2024, 1, 1), QTime(9, 0), berlin);
        QCOMPARE(
            WhatHappened::stretchRangeText({morning, morning.addSecs(8 * 3600)}, berlin, english),
            QStringLiteral("%1 – %2").arg(english.toString(QTime(9, 0), QLocale::ShortFormat),
                                          english.toString(QTime(17, 0), QLocale::ShortFormat)));
    }
};

QTEST_GUILESS_MAIN(tst_WhatHappened)
#include "tst_WhatHappened.moc"
