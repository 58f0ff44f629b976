#include "Defaults.h"
#include "FileOutputManager.h"
#include "ManualClock.h"
#include "MovieProbe.h"
#include "RecordingManager.h"
#include "RecordingsFolder.h"
#include "SettingsKeys.h"
#include "StretchMovies.h"
#include "TimeLapseJob.h"

#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimeZone>

namespace {

QDateTime at(int hour, int minute) {
    return QDateTime(QDate(2024, 5, 1), QTime(hour, minute), QTimeZone::systemTimeZone());
}

TimeLapseRenderer::Request requestFor(const QString& folder, const QString& destination = {}) {
    const ArmedStretch stretch{at(22, 0), at(23, 0)};
    return {stretch, StretchMovies::eventsIn(folder, stretch.from, stretch.to),
            destination.isEmpty() ? folder : destination, QTimeZone::systemTimeZone(),
            QLocale::system()};
}

}  // namespace

class tst_TimeLapseJob : public QObject {
    Q_OBJECT

    std::unique_ptr<StretchMovies> movies_;

private Q_SLOTS:
    void initTestCase() { movies_ = std::make_unique<StretchMovies>(StretchMovies::Options{}); }

    void aRunShowsItsProgressAndRevealsTheMovie() {
        QTemporaryDir dir;
        QVERIFY(movies_->record(dir.path(), at(22, 10), "Front Door", "Desk Mic", 21));
        TimeLapseJob job;
        QStringList revealed;
        job.reveal = [&](const QString& path) { revealed << path; };
        QList<double> fractions;
        connect(&job, &TimeLapseJob::fractionDoneChanged, [&] { fractions << job.fractionDone(); });
        QSignalSpy making(&job, &TimeLapseJob::isMakingTimeLapseChanged);
        QSignalSpy finished(&job, &TimeLapseJob::finished);

        QVERIFY(job.start(requestFor(dir.path())));
        QVERIFY(job.isMakingTimeLapse());
        // A second run is not started while one is under way.
        QVERIFY(!job.start(requestFor(dir.path())));
        QVERIFY(finished.wait(60000));
        QVERIFY(!job.isMakingTimeLapse());
        QCOMPARE(making.count(), 2);
        QCOMPARE(job.fractionDone(), 1.0);
        QVERIFY(fractions.size() > 3);
        QVERIFY(std::is_sorted(fractions.begin(), fractions.end()));
        const QString path = dir.filePath("What happened 2024-05-01 22.00 to 23.00.mov");
        QCOMPARE(finished.at(0).at(0).toString(), path);
        QCOMPARE(revealed, QStringList{path});
        QCOMPARE(MovieProbe(path).frameCount(), 1 + 11);
        QVERIFY(!job.timeLapseFailed());
        QVERIFY(!job.lastFailure());
    }

    void nothingReadableSetsTheFailureUntilCleared() {
        QTemporaryDir dir;
        QFile empty(dir.filePath("2024-05-01 22.10.00 - Cam + Mic.mov"));
        QVERIFY(empty.open(QIODevice::WriteOnly));
        empty.close();
        TimeLapseJob job;
        bool revealed = false;
        job.reveal = [&](const QString&) { revealed = true; };
        QSignalSpy failed(&job, &TimeLapseJob::timeLapseFailedChanged);
        QVERIFY(job.start(requestFor(dir.path())));
        QTRY_VERIFY_WITH_TIMEOUT(!job.isMakingTimeLapse(), 30000);
        QVERIFY(job.timeLapseFailed());
        QCOMPARE(failed.count(), 1);
        QCOMPARE(job.lastFailure(), TimeLapse::Failure::nothingReadable());
        QVERIFY(!revealed);
        job.setTimeLapseFailed(false);
        QVERIFY(!job.timeLapseFailed());
        QCOMPARE(failed.count(), 2);
    }

    void aMovieThatCannotBeWrittenKeepsItsReason() {
        QTemporaryDir dir;
        QVERIFY(movies_->record(dir.path(), at(22, 10), "Front Door", "Desk Mic", 3));
        TimeLapseJob job;
        job.reveal = [](const QString&) {};
        QVERIFY(job.start(requestFor(dir.path(), dir.filePath("missing"))));
        QTRY_VERIFY_WITH_TIMEOUT(!job.isMakingTimeLapse(), 30000);
        QVERIFY(!job.timeLapseFailed());
        QCOMPARE(job.lastFailure(),
                 TimeLapse::Failure::couldNotWrite("couldn't open a movie file in missing"));
    }

    // Quitting does not wait for a time-lapse: the job going away stops the
    // render, which leaves neither the movie nor its work file.
    void goingAwayCancelsTheRender() {
        QTemporaryDir dir;
        for (int minute : {10, 11, 12}) {
            QVERIFY(movies_->record(dir.path(), at(22, minute), "Front Door", "Desk Mic", 37));
        }
        const QStringList before =
            QDir(dir.path())
                .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name);
        {
            TimeLapseJob job;
            job.reveal = [](const QString&) {};
            QVERIFY(job.start(requestFor(dir.path())));
            QTRY_VERIFY_WITH_TIMEOUT(job.fractionDone() > 0.1, 60000);
        }
        QCOMPARE(QDir(dir.path())
                     .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot, QDir::Name),
                 before);
    }

    void aCancelledRenderEndsWithoutFailureOrMovie() {
        QTemporaryDir dir;
        for (int minute : {10, 11, 12}) {
            QVERIFY(movies_->record(dir.path(), at(22, minute), "Front Door", "Desk Mic", 37));
        }
        TimeLapseJob job;
        bool revealed = false;
        job.reveal = [&](const QString&) { revealed = true; };
        QSignalSpy finished(&job, &TimeLapseJob::finished);
        QVERIFY(job.start(requestFor(dir.path())));
        QTRY_VERIFY_WITH_TIMEOUT(job.fractionDone() > 0.1, 60000);
        job.cancel();
        QTRY_VERIFY_WITH_TIMEOUT(!job.isMakingTimeLapse(), 30000);
        QVERIFY(job.fractionDone() < 1.0);
        QVERIFY(!job.lastFailure());
        QVERIFY(!job.timeLapseFailed());
        QVERIFY(!revealed);
        QCOMPARE(finished.count(), 0);
        QVERIFY(!QFileInfo::exists(dir.filePath("What happened 2024-05-01 22.00 to 23.00.mov")));
        // The next run starts afresh.
        QVERIFY(job.start(requestFor(dir.path())));
        QVERIFY(finished.wait(120000));
    }

    void theManagerMakesTheLastStretchsTimeLapse() {
        QTemporaryDir dir;
        Defaults defaults(dir.filePath("Nelvo.conf"));
        const QString folder = dir.filePath("Recordings");
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(!RecordingsFolder::choose(folder, defaults));
        ManualClock clock(at(23, 30));
        RecordingManager manager(defaults, clock);
        // The manager lists the recordings folder chosen above.
        manager.timeLapse().reveal = [](const QString&) {};
        QVERIFY(!manager.makeTimeLapse());  // no stretch kept yet
        QVERIFY(movies_->record(folder, at(22, 10), "Front Door", "Desk Mic", 3));
        ArmedStretch{at(22, 0), at(23, 0)}.storeAsLast(defaults);
        QSignalSpy finished(&manager.timeLapse(), &TimeLapseJob::finished);
        QVERIFY(manager.makeTimeLapse());
        QVERIFY(manager.isMakingTimeLapse());
        QVERIFY(finished.wait(60000));
        QVERIFY(!manager.isMakingTimeLapse());
        QVERIFY(!manager.timeLapseFailed());
        QCOMPARE(finished.at(0).at(0).toString(),
                 folder + QStringLiteral("/What happened 2024-05-01 22.00 to 23.00.mov"));
    }

    // Quitting while a time-lapse is being made stops it.
    void aCleanQuitCancelsTheTimeLapse() {
        QTemporaryDir dir;
        Defaults defaults(dir.filePath("Nelvo.conf"));
        const QString folder = dir.filePath("Recordings");
        QVERIFY(QDir().mkpath(folder));
        QVERIFY(!RecordingsFolder::choose(folder, defaults));
        for (int minute : {10, 11, 12}) {
            QVERIFY(movies_->record(folder, at(22, minute), "Front Door", "Desk Mic", 37));
        }
        ArmedStretch{at(22, 0), at(23, 0)}.storeAsLast(defaults);
        ManualClock clock(at(23, 30));
        RecordingManager manager(defaults, clock);
        manager.timeLapse().reveal = [](const QString&) {};
        QVERIFY(manager.makeTimeLapse());
        QTRY_VERIFY_WITH_TIMEOUT(manager.timeLapse().fractionDone() > 0.1, 60000);
        manager.cleanQuit();
        QTRY_VERIFY_WITH_TIMEOUT(!manager.isMakingTimeLapse(), 30000);
        QVERIFY(!QFileInfo::exists(folder + "/What happened 2024-05-01 22.00 to 23.00.mov"));
    }
};

QTEST_MAIN(tst_TimeLapseJob)
#include "tst_TimeLapseJob.moc"
