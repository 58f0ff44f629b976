#include "ArmedStretch.h"
#include "Defaults.h"
#include "FileOutputManager.h"
#include "LaunchDefaults.h"
#include "ManualClock.h"
#include "RecordingManager.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTest>

using namespace std::chrono_literals;

// Which stretches the recording manager keeps as the last one.
class tst_ArmedStretch : public QObject {
    Q_OBJECT

private:
    TestEnvironment environment_;
    std::unique_ptr<Defaults> defaults_;
    const QDateTime start_{QDate(2024, 1, 1), QTime(10, 0)};

    std::unique_ptr<RecordingManager> manager(ManualClock& clock) {
        auto manager = std::make_unique<RecordingManager>(*defaults_, clock);
        manager->setCameraAvailable(true);
        return manager;
    }

    // A movie in the recordings folder, named as started at `started`.
    void recordingAt(const QDateTime& started) {
        const QString folder = environment_.home() + QStringLiteral("/Videos/Nelvo");
        QDir().mkpath(folder);
        QFile file(folder + u'/' +
                   FileOutputManager::recordingName(started, QStringLiteral("Cam"), std::nullopt) +
                   QStringLiteral(".mov"));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.write("movie") == 5);
    }

    // The manager reads the folder on its own queue: files put there behind
    // its back are known once it has read the folder again.
    static void listed(RecordingManager& manager) {
        manager.refreshRecordings();
        QTRY_VERIFY(manager.recordingsListing().isCurrent());
    }

    // Arms at `start_` (no countdown left to wait for) and disarms after `length`.
    void armFor(RecordingManager& manager, ManualClock& clock, std::chrono::milliseconds length) {
        manager.armFromPopover();
        QCOMPARE(ArmedStretch::since(*defaults_), clock.now());
        clock.advance(length);
        manager.disarm();
        QCOMPARE(ArmedStretch::since(*defaults_), std::nullopt);
    }

private Q_SLOTS:
    void init() {
        QFile::remove(environment_.settingsFilePath());
        defaults_ = std::make_unique<Defaults>(environment_.settingsFilePath());
        LaunchDefaults::registerDefaults(*defaults_);
        QDir(environment_.home() + QStringLiteral("/Videos/Nelvo")).removeRecursively();
    }
    void cleanup() {
        defaults_->flush();
        defaults_.reset();
    }

    void shortEmptyStretchIsNotKept() {
        ManualClock clock(start_);
        auto rm = manager(clock);
        QSignalSpy generation(rm.get(), &RecordingManager::stretchGenerationChanged);
        armFor(*rm, clock, 9min + 59s);
        QCOMPARE(ArmedStretch::last(*defaults_), std::nullopt);
        QCOMPARE(rm->stretchGeneration(), 0);
        QCOMPARE(generation.count(), 0);
    }

    void tenMinuteStretchIsKept() {
        ManualClock clock(start_);
        auto rm = manager(clock);
        armFor(*rm, clock, 10min);
        QCOMPARE(ArmedStretch::last(*defaults_), (ArmedStretch{start_, start_.addSecs(600)}));
        QCOMPARE(rm->stretchGeneration(), 1);
        const auto what = rm->lastWhatHappened();
        QVERIFY(what);
        QVERIFY(what->events.empty());
    }

    void stretchWithOneRecordingIsKept() {
        ManualClock clock(start_);
        auto rm = manager(clock);
        recordingAt(start_.addSecs(8));
        listed(*rm);
        armFor(*rm, clock, 20s);
        QCOMPARE(ArmedStretch::last(*defaults_), (ArmedStretch{start_, start_.addSecs(20)}));
        QCOMPARE(rm->lastWhatHappened()->events.size(), 1u);
    }

    void droppedStretchLeavesThePreviousOne() {
        ManualClock clock(start_);
        auto rm = manager(clock);
        armFor(*rm, clock, 15min);
        armFor(*rm, clock, 1min);
        QCOMPARE(ArmedStretch::last(*defaults_), (ArmedStretch{start_, start_.addSecs(900)}));
    }

    void suppressedTestStretchIsNotKept() {
        ManualClock clock(start_);
        auto rm = manager(clock);
        rm->startTestRecording();  // arms by itself with a 5 s countdown
        QCOMPARE(rm->armedState(), ArmState::arming);
        recordingAt(start_.addSecs(6));
        clock.advance(5s + 15s);  // no file is opened: the deadline ends the test
        QCOMPARE(rm->armedState(), ArmState::unarmed);
        QCOMPARE(ArmedStretch::last(*defaults_), std::nullopt);
        QCOMPARE(ArmedStretch::since(*defaults_), std::nullopt);
    }

    void valuesOfTheWrongTypeAreAbsent() {
        defaults_->set(SettingsKeys::armedStretchSince, 42);
        defaults_->set(SettingsKeys::armedStretchFrom, start_);
        defaults_->set(SettingsKeys::armedStretchTo, QStringLiteral("yesterday"));
        QCOMPARE(ArmedStretch::since(*defaults_), std::nullopt);
        QCOMPARE(ArmedStretch::last(*defaults_), std::nullopt);
        defaults_->set(SettingsKeys::armedStretchTo, start_.addSecs(-1));  // ends before it began
        QCOMPARE(ArmedStretch::last(*defaults_), std::nullopt);
        defaults_->set(SettingsKeys::armedStretchTo, start_);
        QCOMPARE(ArmedStretch::last(*defaults_), (ArmedStretch{start_, start_}));
    }
};

QTEST_GUILESS_MAIN(tst_ArmedStretch)
#include "tst_ArmedStretch.moc"
