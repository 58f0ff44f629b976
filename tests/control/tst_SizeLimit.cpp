#include "FileOutputManager.h"
#include "ManagerFixture.h"
#include "SettingsKeys.h"

#include <sys/mount.h>
#include <unistd.h>
#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTest>

using namespace std::chrono_literals;
using namespace SettingsKeys;
using namespace ManagerFixture;

// Space for recordings: a volume running full, and the size limit the user
// sets on the recordings folder.
class tst_SizeLimit : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void freeSpaceJustBelowTheThresholdRefusesAStart() {
        Fixture f;
        f.armNow();
        Camera front("Front Door");
        f.manager->freeSpace = [] { return std::optional<qint64>(2147483647); };
        f.manager->startRecordings({front.target});
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QCOMPARE(failureOf(*f.manager), int(RecordingFailure::diskFull));
        QCOMPARE(f.manager->recordingFailureCount(), 1);
        f.manager->freeSpace = [] { return std::optional<qint64>(2147483648); };
        f.manager->startRecordings({front.target});
        QCOMPARE(f.manager->armedState(), ArmState::recording);
    }

    void freeSpaceOfARealSmallVolumeDecidesTheStart() {
        if (geteuid() != 0) {
            QSKIP("mounting a small file system for the recordings needs root");
        }
        Fixture f;
        const QString mountPoint = f.env.home() + "/Videos";
        QDir().mkpath(mountPoint);
        if (::mount("tmpfs", mountPoint.toLocal8Bit().constData(), "tmpfs", 0, "size=2g") != 0) {
            QSKIP("this machine does not allow mounting a tmpfs");
        }
        auto unmount =
            qScopeGuard([&] { ::umount2(mountPoint.toLocal8Bit().constData(), MNT_DETACH); });
        f.armNow();
        f.manager->fileOutputManager().setFolder(f.folder());
        QCOMPARE(f.manager->fileOutputManager().availableCapacity(),
                 std::optional<qint64>(2147483648));
        Camera front("Front Door");
        f.manager->startRecordings({front.target});
        QCOMPARE(f.manager->armedState(), ArmState::recording);
        front.recorder->drain();
        deliver(*front.recorder, std::nullopt, 1);  // one byte takes a page: below 2 GiB now
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        f.manager->startRecordings({front.target});
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QCOMPARE(failureOf(*f.manager), int(RecordingFailure::diskFull));
    }

    void runningOutOfSpaceWhileRecordingStopsAndReportsDiskFull() {
        Fixture f;
        f.armNow();
        Camera front("Front Door"), back("Back Door");
        std::optional<qint64> free = 1LL << 40;
        f.manager->freeSpace = [&] { return free; };
        f.manager->startRecordings({front.target, back.target});
        free = 1LL << 30;
        f.clock.advance(30s);
        QVERIFY(f.manager->stoppingForSpace());
        front.recorder->drain();
        back.recorder->drain();
        QCOMPARE(front.recorder->stops(), 1);
        QCOMPARE(back.recorder->stops(), 1);
        QCOMPARE(f.manager->armedState(), ArmState::recording);
        deliver(*front.recorder);
        QVERIFY(!f.manager->recordingFailure());
        deliver(*back.recorder);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QCOMPARE(failureOf(*f.manager), int(RecordingFailure::diskFull));
        QVERIFY(!f.manager->stoppingForSpace());
    }

    void aLimitOfZeroNeverRolls() {
        Fixture f;
        f.armNow();
        f.manager->freeSpace = [] { return std::optional<qint64>(1LL << 40); };
        Camera front("Front Door");
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        QFile big(front.recorder->started().first());
        QVERIFY(big.open(QIODevice::WriteOnly));
        QVERIFY(big.resize(3LL << 30));  // sparse: takes no real space
        f.defaults.set("recordingsLimitGB", 0);
        f.clock.advance(30s);
        front.recorder->drain();
        QVERIFY(front.recorder->rolled().isEmpty());
        f.defaults.set("recordingsLimitGB", 2);
        f.clock.advance(30s);
        // The folder is read on the limit's queue; the roll follows its answer.
        QTRY_COMPARE((front.recorder->drain(), front.recorder->rolled().size()), 1);
        QCOMPARE(f.manager->currentFilePaths().size(), 2);
    }

    void aLimitOf20000ActsAs10000() {
        Fixture f;
        f.armNow();
        f.manager->freeSpace = [] { return std::optional<qint64>(1LL << 40); };
        Camera front("Front Door");
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        QFile big(front.recorder->started().first());
        QVERIFY(big.open(QIODevice::WriteOnly));
        if (!big.resize((10000LL << 30) + 1)) {
            QSKIP("this file system cannot hold a sparse file above 10 000 GiB");
        }
        f.defaults.set("recordingsLimitGB", 20000);
        f.clock.advance(30s);
        // Above 10 000 GiB, though below 20 000.
        QTRY_COMPARE((front.recorder->drain(), front.recorder->rolled().size()), 1);
    }

    void sizeLimitDeletesTheOldestRecordingsAndCountsThem() {
        Fixture f;
        f.armNow();
        f.manager->freeSpace = [] { return std::optional<qint64>(1LL << 40); };
        QDir().mkpath(f.folder());
        const QStringList old{"2026-11-20 10.00.00 - Front Door.mov",
                              "2026-11-20 10.00.00 - Front Door.jpg",
                              "2026-11-21 10.00.00 - Front Door.mov"};
        for (const QString& name : old) {
            QFile file(f.folder() + "/" + name);
            QVERIFY(file.open(QIODevice::WriteOnly));
            QVERIFY(file.resize(name.endsWith("jpg")            ? 1024
                                : name.startsWith("2026-11-20") ? (1LL << 30)
                                                                : (1 << 20)));
        }
        f.defaults.set("recordingsLimitGB", 1);
        QSignalSpy deletedSpy(f.manager.get(), &RecordingManager::deletedChanged);
        Camera front("Front Door");
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        deliver(*front.recorder);  // the last file finished: the limit is enforced
        // Off the main thread: the deletions are announced when they are done.
        QTRY_COMPARE(deletedSpy.count(), 1);
        QVERIFY(!QFile::exists(f.folder() + "/" + old[0]));
        QVERIFY(!QFile::exists(f.folder() + "/" + old[1]));
        QVERIFY(QFile::exists(f.folder() + "/" + old[2]));
        QCOMPARE(f.manager->deletedCount(), 2);
        QCOMPARE(f.manager->deletedAt(), f.clock.now());
        QCOMPARE(deletedSpy.count(), 1);
        f.manager->disarm();  // a disarm clears the notices
        QCOMPARE(f.manager->deletedCount(), 0);
        QVERIFY(!f.manager->deletedAt().isValid());
    }

    // A recording ended by its timeout (the state is armed again at once): the
    // limit is kept when the last file of both cameras has been written.
    void theLimitIsKeptWhenARecordingEndedByItsTimeoutIsWritten_data() {
        QTest::addColumn<bool>("disarmed");
        QTest::newRow("armed again") << false;
        QTest::newRow("disarmed meanwhile") << true;
    }

    void theLimitIsKeptWhenARecordingEndedByItsTimeoutIsWritten() {
        QFETCH(bool, disarmed);
        Fixture f;
        f.armNow();
        f.manager->freeSpace = [] { return std::optional<qint64>(1LL << 40); };
        const QString old = f.folder() + "/2026-11-20 10.00.00 - Front Door.mov";
        QDir().mkpath(f.folder());
        QFile oldFile(old);
        QVERIFY(oldFile.open(QIODevice::WriteOnly));
        QVERIFY(oldFile.resize(1LL << 30));
        oldFile.close();
        f.defaults.set("recordingsLimitGB", 1);
        Camera front("Front Door"), back("Back Door");
        f.manager->startRecordings({front.target, back.target});
        front.recorder->drain();
        back.recorder->drain();
        f.manager->stopRecording();  // what the capture side does when the timeout passes
        if (disarmed) {
            f.manager->disarm();
        }
        deliver(*front.recorder);
        QTest::qWait(200);
        QVERIFY(QFile::exists(old));  // the back camera's file is still being written
        deliver(*back.recorder);
        QTRY_VERIFY(!QFile::exists(old));
        QVERIFY(QFile::exists(front.recorder->started().first()));
        QVERIFY(QFile::exists(back.recorder->started().first()));
        QTRY_COMPARE(f.manager->deletedCount(), 1);
    }

    void recordingCostNeedsTenRecordingsOfTheLastDay() {
        Fixture f;
        QDir().mkpath(f.folder());
        auto make = [&](const QDateTime& start, qint64 bytes) {
            QFile file(f.folder() + "/" + start.toString("yyyy-MM-dd HH.mm.ss") + " - Cam.mov");
            QVERIFY(file.open(QIODevice::WriteOnly));
            QVERIFY(file.resize(bytes));
        };
        for (int i = 0; i < 9; ++i) {
            make(f.clock.now().addSecs(-3600 * (i + 1)), 1000000LL * (i + 1));
        }
        make(f.clock.now().addSecs(600), 1000000);  // in the future: not counted
        // The manager reads the folder on its own queue; the cost is known
        // from its last reading.
        f.manager->refreshRecordings();
        QTRY_VERIFY(f.manager->recordingsListing().isCurrent());
        QVERIFY(!f.manager->recordingCost());
        make(f.clock.now().addSecs(-86400), 10000000);
        QVERIFY(!f.manager->recordingCost());  // not read yet
        f.manager->refreshRecordings();
        QTRY_VERIFY(f.manager->recordingCost());
        const auto cost = f.manager->recordingCost();
        QVERIFY(cost);
        QCOMPARE(cost->count, 10);
        QCOMPARE(cost->typicalSeconds, 6.0);   // sizes 1..10 MB: the upper median is 6 MB = 6 s
        QCOMPARE(cost->minimumSeconds, 10.0);  // pre-roll 5 + timeout 5
    }
};

QTEST_GUILESS_MAIN(tst_SizeLimit)
#include "tst_SizeLimit.moc"
