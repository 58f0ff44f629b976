#include "FileOutputManager.h"
#include "MinuteRecordings.h"
#include "StorageForecast.h"
#include "TestEnvironment.h"

#include <QLocale>
#include <QTemporaryDir>
#include <QTest>

namespace {

constexpr qint64 GiB = qint64(1) << 30;
const QDateTime now(QDate(2026, 11, 23), QTime(9, 0));

Recording movie(const QDateTime& started, qint64 bytes, const QString& camera = "Desk") {
    const QString name = FileOutputManager::recordingName(started, camera, QStringLiteral("Mic"));
    return {QStringLiteral("/rec/") + name + QStringLiteral(".mov"), started, bytes};
}

Recording stillOf(const Recording& movie, qint64 bytes) {
    return {FileOutputManager::stillPath(movie.url), movie.started, bytes};
}

}  // namespace

class tst_StorageForecast : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); }

    void noRecordingsGiveNothing() {
        QVERIFY(!StorageForecast::bytesPerDay({}, now));
        QCOMPARE(StorageForecast::text({}, now, 0), QString());
        QCOMPARE(StorageForecast::text({}, now, 50), QString());
    }

    void fewerThanThreeRecordingsGiveNothing() {
        const Recording a = movie(now.addSecs(-3600), GiB);
        const Recording b = movie(now.addSecs(-7200), GiB);
        // A movie and its still are one recording.
        const QList<Recording> two{a, stillOf(a, 1000), b, stillOf(b, 1000)};
        QCOMPARE(StorageForecast::text(two, now, 0), QString());
        QCOMPARE(StorageForecast::text(two, now, 10), QString());
        const QList<Recording> three = two + QList<Recording>{movie(now.addSecs(-60), GiB)};
        QVERIFY(!StorageForecast::text(three, now, 10).isEmpty());
    }

    // A folder begun this morning: the day is the shortest span, so three
    // gigabytes in a few hours read as three a day, not as a quiet week.
    void oneDayOfData() {
        const QList<Recording> recordings{movie(now.addSecs(-3 * 3600), GiB),
                                          movie(now.addSecs(-2 * 3600), GiB),
                                          movie(now.addSecs(-1 * 3600), GiB)};
        QCOMPARE(*StorageForecast::bytesPerDay(recordings, now), 3.0 * GiB);
        QCOMPARE(StorageForecast::text(recordings, now, 30),
                 QStringLiteral("At this week's rate, 30 GB holds about 10 days of recordings."));
    }

    void aLimitOfZeroGivesTheDailySize() {
        const QList<Recording> recordings{movie(now.addSecs(-3 * 3600), GiB),
                                          movie(now.addSecs(-2 * 3600), GiB),
                                          movie(now.addSecs(-1 * 3600), GiB / 2)};
        QCOMPARE(StorageForecast::text(recordings, now, 0),
                 QStringLiteral("At this week's rate, Nelvo records about 2.5 GB a day."));
        QCOMPARE(StorageForecast::text(recordings, now, -3),
                 QStringLiteral("At this week's rate, Nelvo records about 2.5 GB a day."));
    }

    void onlyTheLastSevenDaysCount() {
        QList<Recording> recordings;
        for (int day = 1; day <= 7; ++day) {
            recordings << movie(now.addDays(-day).addSecs(60), 2 * GiB);
        }
        recordings << movie(now.addDays(-8), 500 * GiB);    // older than a week
        recordings << movie(now.addSecs(3600), 500 * GiB);  // named in the future
        recordings << movie(now.addDays(-7), 500 * GiB);    // exactly a week ago
        const double perDay = *StorageForecast::bytesPerDay(recordings, now);
        // 14 GiB over the 7 days less the minute after the first one began.
        QVERIFY(qAbs(perDay - 14.0 * GiB * 86400 / (7 * 86400 - 60)) < 1);
        QCOMPARE(StorageForecast::text(recordings, now, 20),
                 QStringLiteral("At this week's rate, 20 GB holds about 10 days of recordings."));
    }

    void aLimitAboveTheLargestIsTheLargest() {
        const QList<Recording> recordings{movie(now.addSecs(-3600), GiB),
                                          movie(now.addSecs(-7200), GiB),
                                          movie(now.addSecs(-10800), GiB)};
        QCOMPARE(StorageForecast::text(recordings, now, 20000),
                 QStringLiteral("At this week's rate, 10,000 GB holds about 3333 days of "
                                "recordings."));
    }

    void emptyFilesForecastNoLimit() {
        const QList<Recording> recordings{movie(now.addSecs(-3600), 0),
                                          movie(now.addSecs(-7200), 0),
                                          movie(now.addSecs(-10800), 0)};
        QCOMPARE(StorageForecast::text(recordings, now, 10), QString());
        QCOMPARE(StorageForecast::text(recordings, now, 0),
                 QStringLiteral("At this week's rate, Nelvo records about 0 bytes a day."));
    }

    // A real folder of 10 000 recordings (sparse files), listed as the
    // settings window lists it.
    void aFolderOfTenThousandRecordings() {
        TestEnvironment environment;
        QTemporaryDir dir;
        const QDateTime start = QDateTime::currentDateTime().addDays(-7).addSecs(600);
        constexpr int count = 10000;
        QVERIFY(writeMinuteRecordings(dir.path(), start, count, 10 * 1024 * 1024));
        const QDateTime at = start.addSecs(qint64(count) * 60);
        const QList<Recording> recordings = FileOutputManager(dir.path()).recordings();
        const QString text = StorageForecast::text(recordings, at, 100);
        QCOMPARE(recordings.size(), count);
        // 10 000 files of 10 MiB over 10 000 minutes: 1440 × 10 MiB a day.
        const double perDay = 1440.0 * 10 * 1024 * 1024;
        QVERIFY(qAbs(*StorageForecast::bytesPerDay(recordings, at) - perDay) < 1);
        QCOMPARE(text, QStringLiteral("At this week's rate, 100 GB holds about %1 days of "
                                      "recordings.")
                           .arg(qRound(100.0 * GiB / perDay)));
    }
};

QTEST_GUILESS_MAIN(tst_StorageForecast)
#include "tst_StorageForecast.moc"
