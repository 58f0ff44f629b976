#include "ManagerFixture.h"
#include "MovieProbe.h"
#include "PreRollRecorder.h"
#include "RecorderFeed.h"
#include "SettingsKeys.h"
#include "StdoutCapture.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QTest>

using namespace std::chrono_literals;
using namespace SettingsKeys;
using namespace ManagerFixture;

// The files of a recording: one per camera, started, rolled over and stopped
// together, and the failures they end with.
class tst_RecordingSet : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); }

    void startWhileArmingIsIgnored() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.manager->armFromPopover();
        Camera front("Front Door");
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        QCOMPARE(f.manager->armedState(), ArmState::arming);
        QVERIFY(front.recorder->started().isEmpty());
    }

    void startOpensOneFilePerCameraNamedAfterItsStart() {
        Fixture f;
        f.armNow();
        Camera front("Front Door");
        f.manager->freeSpace = [] { return std::optional<qint64>(1LL << 40); };
        f.manager->startRecordings({front.target});
        QCOMPARE(f.manager->armedState(), ArmState::recording);
        front.recorder->drain();
        QCOMPARE(front.recorder->started(),
                 QStringList{f.folder() + "/2026-11-23 08.59.55 - Front Door + Desk Mic.mov"});
        QCOMPARE(f.manager->currentFilePaths().size(), 1);
    }

    void twoCamerasReturnToArmedOnlyAfterBothFiles() {
        Fixture f;
        f.armNow();
        Camera front("Front Door"), back("Back Door");
        int finished = 0;
        f.manager->onRecordingsFinished = [&] { ++finished; };
        f.manager->startRecordings({front.target, back.target});
        front.recorder->drain();
        back.recorder->drain();
        QCOMPARE(f.manager->currentFilePaths().size(), 2);
        deliver(*front.recorder);  // both cameras stop by themselves
        QCOMPARE(f.manager->armedState(), ArmState::recording);
        QCOMPARE(finished, 0);
        deliver(*back.recorder);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QCOMPARE(finished, 1);
    }

    // Its recorder renamed the file for lost frames and made it private under
    // that name; the path it was opened under is gone and is left alone.
    void aFileRenamedForLostFramesIsNotReportedAsNotPrivate() {
        Fixture f;
        f.armNow();
        Camera front("Front Door");
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        const QString path = front.recorder->started().first();
        QFile(path).open(QIODevice::WriteOnly);
        const QString renamed = path.chopped(4) + QStringLiteral(" - 3s missing.mov");
        QVERIFY(QFile::rename(path, renamed));
        StdoutCapture output;
        deliver(*front.recorder);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QVERIFY2(!output.text().contains(QStringLiteral("private to its owner")),
                 qPrintable(output.text()));
    }

    void stopRecordingReturnsToArmedAtOnceAndStopsEveryRecorder() {
        Fixture f;
        f.armNow();
        Camera front("Front Door"), back("Back Door");
        f.manager->startRecordings({front.target, back.target});
        f.manager->stopRecording();
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QVERIFY(f.manager->currentFilePaths().isEmpty());
        front.recorder->drain();
        back.recorder->drain();
        QCOMPARE(front.recorder->stops(), 1);
        QCOMPARE(back.recorder->stops(), 1);
        deliver(*front.recorder);
        deliver(*back.recorder);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QVERIFY(!f.manager->recordingFailure());
    }

    void finishingRecordingsKeepsRecordingUntilTheLastFileIsWritten() {
        Fixture f;
        f.armNow();
        Camera front("Front Door"), back("Back Door");
        int finished = 0;
        f.manager->onRecordingsFinished = [&] { ++finished; };
        f.manager->startRecordings({front.target, back.target});
        f.manager->finishRecordings();
        front.recorder->drain();
        back.recorder->drain();
        QCOMPARE(front.recorder->stops(), 1);
        QCOMPARE(back.recorder->stops(), 1);
        // Still recording: a trigger meanwhile cannot start another recording.
        QCOMPARE(f.manager->armedState(), ArmState::recording);
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        QCOMPARE(front.recorder->started().size(), 1);
        deliver(*front.recorder);
        QCOMPARE(finished, 0);
        deliver(*back.recorder);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QCOMPARE(finished, 1);
    }

    void finishingRecordingsWhileArmedDoesNothing() {
        Fixture f;
        f.armNow();
        Camera front("Front Door");
        f.manager->startRecordings({front.target});
        f.manager->stopRecording();  // the timeout: armed again while the file finishes
        f.manager->finishRecordings();
        front.recorder->drain();
        QCOMPARE(front.recorder->stops(), 1);  // the timeout's stop only
        QCOMPARE(f.manager->armedState(), ArmState::armed);
    }

    // A camera whose file already failed has nothing to continue: its recorder
    // answers the roll at once, and the other camera's files end the recording.
    void aRollTheRecorderCannotContinueIsNotWaitedFor() {
        Fixture f;
        f.armNow();
        Camera front("Front Door"), back("Back Door");
        int finished = 0;
        f.manager->onRecordingsFinished = [&] { ++finished; };
        f.manager->startRecordings({front.target, back.target});
        front.recorder->drain();
        back.recorder->drain();
        deliver(*front.recorder, Error::posix(EACCES));
        f.manager->rollOver();
        front.recorder->drain();
        back.recorder->drain();
        QCoreApplication::processEvents();
        QCOMPARE(front.recorder->rolled().size(), 1);
        QCOMPARE(back.recorder->rolled().size(), 1);
        QCOMPARE(f.manager->currentFilePaths().size(), 2);  // the back camera's two files
        deliver(*back.recorder);
        QCOMPARE(f.manager->armedState(), ArmState::recording);
        deliver(*back.recorder);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QVERIFY(f.manager->currentFilePaths().isEmpty());
        QCOMPARE(finished, 1);
    }

    // Quitting while recording, with the in-recording check rolling over just
    // after: the real recorder has no file left to continue, and the quit
    // still sees the recording end.
    void aRollAfterTheQuitDoesNotHoldTheRecordingOpen() {
        Fixture f;
        f.defaults.set(preRollSeconds, 1);
        f.armNow();
        const RecorderMedia media = RecorderMedia::make(4.0);
        auto front = std::make_shared<PreRollRecorder>(f.defaults);
        media.feed(*front, 0, 2);
        int finished = 0;
        f.manager->onRecordingsFinished = [&] { ++finished; };
        f.manager->startRecordings({{front, QStringLiteral("Front Door"), std::nullopt}});
        media.feed(*front, 2, 3);
        f.manager->finishRecordings();
        f.manager->rollOver();
        QTRY_COMPARE_WITH_TIMEOUT(finished, 1, 20000);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QVERIFY(f.manager->currentFilePaths().isEmpty());
        const QStringList movies = QDir(f.folder()).entryList({"*.mov"}, QDir::Files);
        QCOMPARE(movies.size(), 1);
        const MovieProbe probe(QDir(f.folder()).filePath(movies.first()));
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QVERIFY(probe.firstFrameIsKeyframe());
    }

    // A stored folder reference that cannot be read is reported once, not at
    // every recording or settings write; a different stored value is new news.
    void anUnreadableStoredFolderIsReportedOncePerStoredValue() {
        Fixture f;
        const QString message = QStringLiteral(
            "The stored recordings folder could not be read; recordings go to the default folder");
        StdoutCapture output;
        f.defaults.set(recordingsFolderBookmark, QByteArray("not a folder reference"));
        f.settle();
        f.armNow();
        Camera front("Front Door");
        for (int i = 0; i < 3; ++i) {
            f.manager->startRecordings({front.target});
            f.manager->stopRecording();
            f.defaults.set(timeoutValueInSeconds, 5 + i);
            f.settle();
        }
        f.clock.advance(3min);  // the minute heartbeat writes the settings
        f.settle();
        QCOMPARE(output.lines().count(message), 1);
        f.defaults.set(recordingsFolderBookmark, QByteArray("another unreadable one"));
        f.settle();
        f.manager->startRecordings({front.target});
        f.manager->stopRecording();
        const QStringList lines = output.take().split(u'\n');
        QCOMPARE(lines.count(message), 2);
        front.recorder->drain();
        QVERIFY(front.recorder->started().first().startsWith(f.folder() + "/"));
    }

    void fileAbandonedBeforeItsFirstKeyframeIsNoFailure() {
        Fixture f;
        f.armNow();
        Camera front("Front Door");
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        deliver(*front.recorder, Error{Error::writerDomain, MovieRecorder::noDataCode,
                                       "No keyframe arrived", nullptr});
        QVERIFY(!f.manager->recordingFailure());
        QCOMPARE(f.manager->recordingFailureCount(), 0);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
    }

    void failedFilesAreClassifiedAndCountedOncePerRecording() {
        Fixture f;
        f.armNow();
        Camera front("Front Door"), back("Back Door");
        f.manager->startRecordings({front.target, back.target});
        front.recorder->drain();
        back.recorder->drain();
        deliver(*front.recorder, Error::posix(ENOSPC));
        QCOMPARE(failureOf(*f.manager), int(RecordingFailure::diskFull));
        QCOMPARE(f.manager->recordingFailureCount(), 1);
        deliver(*back.recorder, Error::posix(EACCES));  // the same recording: not counted again
        QCOMPARE(failureOf(*f.manager), int(RecordingFailure::notPermitted));
        QCOMPARE(f.manager->recordingFailureCount(), 1);
        QCOMPARE(f.manager->recordingFailedAt(), f.clock.now());
        // The next recording fails too: two in a row.
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        f.manager->stopRecording();
        deliver(*front.recorder, Error::posix(ENOENT));
        QCOMPARE(failureOf(*f.manager), int(RecordingFailure::destinationMissing));
        QCOMPARE(f.manager->recordingFailureCount(), 2);
        // A recording that succeeds clears the record.
        f.manager->startRecordings({front.target});
        front.recorder->drain();
        f.manager->stopRecording();
        deliver(*front.recorder);
        QVERIFY(!f.manager->recordingFailure());
        QCOMPARE(f.manager->recordingFailureCount(), 0);
        QVERIFY(!f.manager->recordingFailedAt().isValid());
    }

    void disarmWhileRecordingStopsTheRecordersAndEmptiesTheFiles() {
        Fixture f;
        f.armNow();
        Camera front("Front Door");
        f.manager->startRecordings({front.target});
        f.manager->disarm();
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
        QVERIFY(f.manager->currentFilePaths().isEmpty());
        front.recorder->drain();
        QCOMPARE(front.recorder->stops(), 1);
        deliver(*front.recorder);
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
    }

    // Real recorders fed by real encoded streams: a start, a roll-over and a
    // stop for space make two files per camera that an independent reader reads.
    void twoRealRecordersStartRollAndStop() {
        Fixture f;
        f.defaults.set(preRollSeconds, 1);
        f.armNow();
        const RecorderMedia media = RecorderMedia::make(6.0);
        auto front = std::make_shared<PreRollRecorder>(f.defaults);
        auto back = std::make_shared<PreRollRecorder>(f.defaults);
        media.feed(*front, 0, 2);
        media.feed(*back, 0, 2);
        front->setNewestFrame(EncodedStream::rawFrame(320, 240, "I420"));
        back->setNewestFrame(EncodedStream::rawFrame(320, 240, "I420"));
        int finished = 0;
        f.manager->onRecordingsFinished = [&] { ++finished; };
        f.manager->startRecordings(
            {{front, QStringLiteral("Front Door"), QStringLiteral("Desk Mic")},
             {back, QStringLiteral("Back Door"), std::nullopt}});
        QCOMPARE(f.manager->armedState(), ArmState::recording);
        media.feed(*front, 2, 3.5);
        media.feed(*back, 2, 3.5);
        f.manager->rollOver();
        QCOMPARE(f.manager->currentFilePaths().size(), 4);
        media.feed(*front, 3.5, 6);
        media.feed(*back, 3.5, 6);
        f.manager->stopForSpace();
        // The rolled-over files finish first; the state waits for every file.
        QTRY_COMPARE_WITH_TIMEOUT(finished, 1, 20000);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QVERIFY(f.manager->currentFilePaths().isEmpty());
        QCOMPARE(failureOf(*f.manager), int(RecordingFailure::diskFull));

        const QDir folder(f.folder());
        const QStringList movies = folder.entryList({"*.mov"}, QDir::Files, QDir::Name);
        QCOMPARE(movies.size(), 4);
        // Beside the first file of each camera only.
        QTRY_COMPARE(folder.entryList({"*.jpg"}, QDir::Files).size(), 2);
        const QRegularExpression named(
            R"(^\d{4}-\d\d-\d\d \d\d\.\d\d\.\d\d - (Front Door \+ Desk Mic|Back Door)( \d+)?\.mov$)");
        const int expectedFrames =
            media.videoFramesFrom(media.keyframeAtOrBefore(2.0 - 1 / 30.0 - 1.0), 6.0);
        int frontFrames = 0;
        int backFrames = 0;
        for (const QString& name : movies) {
            QVERIFY2(named.match(name).hasMatch(), qPrintable(name));
            const QString path = folder.filePath(name);
            QCOMPARE(QFileInfo(path).permissions() & 0x7777,
                     QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ReadUser |
                         QFileDevice::WriteUser);
            const MovieProbe probe(path);
            QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
            QCOMPARE(probe.codec("video"), QString("h264"));
            QCOMPARE(probe.codec("audio"), QString("aac"));
            QVERIFY(probe.firstFrameIsKeyframe());
            QCOMPARE(probe.firstTime("video").value_or(-1), 0.0);
            QVERIFY(probe.timestampsMonotonic());
            (name.contains("Front Door") ? frontFrames : backFrames) += probe.frameCount();
        }
        // The two files of a camera neither overlap nor leave out a frame.
        QCOMPARE(frontFrames, expectedFrames);
        QCOMPARE(backFrames, expectedFrames);
    }
};

QTEST_GUILESS_MAIN(tst_RecordingSet)
#include "tst_RecordingSet.moc"
