#include "FileOutputManager.h"
#include "FolderReads.h"
#include "ManagerFixture.h"
#include "RecordingFiles.h"
#include "RecordingsFolder.h"
#include "SettingsKeys.h"
#include "StdoutCapture.h"

#include <sys/stat.h>
#include <QDir>
#include <QSignalSpy>
#include <QTest>
#include <cerrno>

using namespace std::chrono_literals;
using namespace SettingsKeys;
using namespace ManagerFixture;

// Where recordings go and what becomes of their files: on their own, with
// the state kept by the test, and as the recording manager drives them.
class tst_RecordingFiles : public QObject {
    Q_OBJECT

private:
    // Files on a settings store of their own, the armed state kept here.
    struct Files {
        TestEnvironment env;
        Defaults defaults{env.settingsFilePath()};
        ManualClock clock{QDateTime(QDate(2026, 11, 23), QTime(9, 0))};
        std::unique_ptr<RecordingFiles> files;
        bool recording = false;
        QStringList news;

        Files() {
            LaunchDefaults::registerDefaults(defaults);
            files = std::make_unique<RecordingFiles>(defaults, clock);
            files->isRecording = [this] { return recording; };
            files->freeSpace = [] { return std::optional<qint64>(1LL << 40); };
            files->onStarting = [this](int count) {
                recording = true;
                news << QStringLiteral("starting %1").arg(count);
            };
            files->onFileDone = [this](const QString& path, const std::optional<Error>& error) {
                news << (error ? QStringLiteral("failed ") : QStringLiteral("done ")) +
                            QFileInfo(path).fileName();
            };
            files->onRecordingEnded = [this] {
                recording = false;
                news << QStringLiteral("ended");
            };
            files->onRecordingsFinished = [this] { news << QStringLiteral("finished"); };
            files->onFailureChanged = [this] { news << QStringLiteral("failure"); };
        }
    };

private Q_SLOTS:
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); }

    void eachFileIsReportedAndTheLastEndsTheRecording() {
        Files f;
        Camera front(QStringLiteral("Front"));
        Camera back(QStringLiteral("Back"));
        QVERIFY(f.files->start({front.target, back.target}));
        front.recorder->drain();
        back.recorder->drain();
        QCOMPARE(f.files->currentFilePaths().size(), 2);
        const QString frontFile = QFileInfo(front.recorder->started().first()).fileName();
        const QString backFile = QFileInfo(back.recorder->started().first()).fileName();
        QCOMPARE(QFileInfo(front.recorder->started().first()).absolutePath(),
                 f.env.home() + QStringLiteral("/Videos/Nelvo"));
        deliver(*front.recorder);
        QCOMPARE(f.news, (QStringList{"starting 2", "done " + frontFile}));
        deliver(*back.recorder, Error::posix(EACCES, QStringLiteral("Permission denied")));
        QCOMPARE(f.news, (QStringList{"starting 2", "done " + frontFile, "failure",
                                      "failed " + backFile, "ended", "finished"}));
        QCOMPARE(f.files->set().failure(), RecordingFailure::notPermitted);
        QVERIFY(!f.recording);
    }

    // Names are kept only while their recordings may still open them: a
    // recording that finished, even without ever making its file, lets its
    // name go, so a recorder failing at every trigger for weeks keeps none.
    void finishedRecordingsLetTheirNamesGo() {
        Files f;
        for (int i = 0; i < 3; ++i) {
            Camera front(QStringLiteral("Front"));
            QVERIFY(f.files->start({front.target}));
            front.recorder->drain();
            const QString path = front.recorder->started().first();
            QCOMPARE(f.files->fileOutputManager().issuedPaths(), QSet<QString>{path});
            QVERIFY(!QFileInfo::exists(path));
            deliver(*front.recorder, Error::posix(EACCES, QStringLiteral("Permission denied")));
            QVERIFY(f.files->fileOutputManager().issuedPaths().isEmpty());
            f.clock.advance(20s);
        }
    }

    void aFullVolumeRefusesTheStart() {
        Files f;
        f.files->freeSpace = [] {
            return std::optional<qint64>(RecordingFiles::freeSpaceThreshold - 1);
        };
        Camera front(QStringLiteral("Front"));
        QVERIFY(!f.files->start({front.target}));
        front.recorder->drain();
        QVERIFY(front.recorder->started().isEmpty());
        QCOMPARE(f.news, QStringList{"failure"});
        QCOMPARE(f.files->set().failure(), RecordingFailure::diskFull);
        f.files->clearNotices();
        QVERIFY(!f.files->set().failure());
    }

    void runningOutOfSpaceStopsTheRecordersAndEndsAsDiskFull() {
        Files f;
        std::optional<qint64> free = 1LL << 40;
        f.files->freeSpace = [&] { return free; };
        Camera front(QStringLiteral("Front"));
        QVERIFY(f.files->start({front.target}));
        f.files->followState();
        front.recorder->drain();
        free = 1024;
        f.clock.advance(std::chrono::seconds(RecordingFiles::duringRecordingCheckSeconds));
        QVERIFY(f.files->stoppingForSpace());
        front.recorder->drain();
        QCOMPARE(front.recorder->stops(), 1);
        deliver(*front.recorder);
        QVERIFY(!f.files->stoppingForSpace());
        QCOMPARE(f.files->set().failure(), RecordingFailure::diskFull);
        f.files->followState();  // no longer recording: the check is off
        QCOMPARE(f.clock.activeTimers(), 0);
    }

    // As the recording manager drives them.

    // The main thread (the interface's) never reads the recordings folder:
    // arming, recording, disarming and everything the popover, its menu and
    // Settings ask for come from the manager's last reading of it, which is
    // made on a queue of its own and announced when it changes.
    void theMainThreadNeverReadsTheFolder() {
        Fixture f;
        QDir().mkpath(f.folder());
        // Ten recordings of the last day, six of them in a kept stretch.
        for (int i = 1; i <= 10; ++i) {
            QFile file(f.folder() + u'/' +
                       FileOutputManager::recordingName(f.clock.now().addSecs(-600 * i),
                                                        QStringLiteral("Cam"), std::nullopt) +
                       QStringLiteral(".mov"));
            QVERIFY(file.open(QIODevice::WriteOnly));
            QVERIFY(file.resize(2'000'000));
        }
        ArmedStretch{f.clock.now().addSecs(-3600), f.clock.now().addSecs(-1)}.storeAsLast(
            f.defaults);
        // A size limit, kept when a recording ends, well above what is there.
        f.defaults.set(recordingsLimitGB, 100);
        FolderReads::watch(QFile::encodeName(f.folder()));
        QSignalSpy listed(f.manager.get(), &RecordingManager::recordingsChanged);
        f.manager->refreshRecordings();
        QTRY_VERIFY(f.manager->recordingsListing().isCurrent());
        QVERIFY(listed.count() > 0);
        QVERIFY(f.manager->recordingCost());
        QCOMPARE(f.manager->lastWhatHappened()->events.size(), 6u);
        QVERIFY(f.manager->lastStretch());
        f.manager->checkFolder();
        QTRY_COMPARE(f.manager->recordingsListing().writable(f.folder()), std::optional(true));
        QCOMPARE(f.manager->folderState(), FolderState::inUse(f.folder()));

        f.armNow();
        Camera front(QStringLiteral("Front"));
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        f.clock.advance(30s);  // the size limit's check while recording
        f.manager->stopRecording();
        deliver(*front.recorder);
        // The new file is seen, read on the listing's queue.
        QTRY_COMPARE(f.manager->recordingsListing().recordings().size(), 11);
        f.manager->disarm();
        QTRY_VERIFY(f.manager->recordingsListing().isCurrent());
        QVERIFY(f.manager->lastWhatHappened());
        QCOMPARE(FolderReads::onMainThread().load(), 0);
        FolderReads::watch({});
    }

    // A folder that vanished while armed: the default folder is Nelvo's own
    // and is made again, owner-only, before the next recording starts.
    void aVanishedDefaultFolderIsMadeAgainBeforeTheNextRecording() {
        Fixture f;
        f.armNow();
        QVERIFY(QFileInfo(f.folder()).isDir());
        QVERIFY(QDir(f.folder()).removeRecursively());
        Camera front(QStringLiteral("Front"));
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        QCOMPARE(front.recorder->started().size(), 1);
        QCOMPARE(QFileInfo(front.recorder->started().first()).absolutePath(), f.folder());
        struct stat info {};
        QCOMPARE(stat(QFile::encodeName(f.folder()).constData(), &info), 0);
        QVERIFY(S_ISDIR(info.st_mode));
        QCOMPARE(info.st_mode & 07777, mode_t(0700));
        f.manager->stopRecording();
        deliver(*front.recorder);
        QVERIFY(!f.manager->recordingFailure());
    }

    // A chosen folder that vanished is not made again: recordings go to the
    // default folder until it is back.
    void aVanishedChosenFolderFallsBackToTheDefault() {
        Fixture f;
        const QString chosen = f.env.home() + QStringLiteral("/Chosen");
        QVERIFY(QDir().mkpath(chosen));
        QVERIFY(!RecordingsFolder::choose(chosen, f.defaults));
        f.settle();
        f.armNow();
        QVERIFY(QDir(chosen).removeRecursively());
        Camera front(QStringLiteral("Front"));
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        QCOMPARE(QFileInfo(front.recorder->started().first()).absolutePath(), f.folder());
        QVERIFY(!QFileInfo::exists(chosen));
        f.manager->stopRecording();
        deliver(*front.recorder);
    }

    // Every trigger tries again and every failure is counted, but the log says
    // a failure that keeps repeating once a minute, with how often it happened.
    void aRepeatingFailureIsLoggedOnceAMinuteWithItsCount() {
        Fixture f;
        f.armNow();
        // Each recording's file fails when it is finished.
        auto failOne = [&f] {
            Camera front(QStringLiteral("Front"));
            f.manager->startRecordings({front.target});
            front.recorder->drain();
            f.manager->stopRecording();
            deliver(*front.recorder, Error::posix(EACCES, QStringLiteral("Permission denied")));
        };
        StdoutCapture capture;
        QList<qint64> counts;
        for (int i = 0; i < 5; ++i) {
            failOne();
            counts << f.manager->recordingFailureCount();
            f.clock.advance(10s);
        }
        f.clock.advance(20s);  // a minute after the first
        failOne();
        counts << f.manager->recordingFailureCount();
        const QString printed = capture.take();
        QCOMPARE(counts, (QList<qint64>{1, 2, 3, 4, 5, 6}));
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QStringList failures;
        for (const QString& line : printed.split(u'\n')) {
            if (line.contains(QStringLiteral("ended with an error"))) {
                failures << line;
            }
        }
        QCOMPARE(failures.size(), 2);
        QVERIFY2(failures[0].endsWith(QStringLiteral("ended with an error: Permission denied")),
                 qPrintable(failures[0]));
        QVERIFY2(failures[1].endsWith(QStringLiteral(
                     "ended with an error: Permission denied (5 times since 09:00:15)")),
                 qPrintable(failures[1]));
    }
};

QTEST_GUILESS_MAIN(tst_RecordingFiles)
#include "tst_RecordingFiles.moc"
