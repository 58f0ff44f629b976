#include "ArmedStretch.h"
#include "Defaults.h"
#include "LaunchDefaults.h"
#include "ManualClock.h"
#include "RecordingManager.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"

#include <QSignalSpy>
#include <QTest>

using namespace std::chrono_literals;

// Which stretches the recording manager keeps as the last one.
class tst_ArmedStretch : public QObject {
    Q_OBJECT

private:
    TestEnvironment environment_;
    std::unique_ptr<Defaults> defaults_;
    std::vector<ListedRecording> recordings_;
    const QDateTime start_{QDate(2024, 1, 1), QTime(10, 0)};

    std::unique_ptr<RecordingManager> manager(ManualClock& clock) {
        auto manager = std::make_unique<RecordingManager>(*defaults_, clock);
        manager->setCameraAvailable(true);
        manager->listRecordings = [this] { return recordings_; };
        return manager;
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
        recordings_.clear();
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
        recordings_ = {{QStringLiteral("/r/a.mov"), start_.addSecs(8), 100}};
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
        recordings_ = {{QStringLiteral("/r/test.mov"), start_.addSecs(6), 100}};
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
