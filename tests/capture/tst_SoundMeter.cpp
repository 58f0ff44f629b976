#include "CaptureManagerHarness.h"
#include "MainThread.h"
#include "SoundMeter.h"

#include <QThread>

using namespace std::chrono_literals;
using namespace SettingsKeys;
using namespace CaptureManagerHarness;

namespace {

// A meter reading a level the test sets, with what it showed and triggered.
struct Bench {
    TestEnvironment environment;
    Defaults defaults{environment.settingsFilePath()};
    std::atomic<bool> hasLevel{true};
    std::atomic<double> level{-6.0};  // dBFS: meter 90
    std::vector<double> shown;
    int triggers = 0;
    bool offMainThread = false;
    SoundMeter meter{defaults,
                     [this]() -> std::optional<double> {
                         return hasLevel ? std::optional(level.load()) : std::nullopt;
                     },
                     [this](double value) {
                         offMainThread = offMainThread || !MainThread::isCurrent();
                         shown.push_back(value);
                     },
                     [this] {
                         offMainThread = offMainThread || !MainThread::isCurrent();
                         ++triggers;
                     }};
};

}  // namespace

class tst_SoundMeter : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    void theLevelIsShownAsAMeterValue() {
        Bench b;
        b.meter.start();
        QTRY_VERIFY_WITH_TIMEOUT(b.shown.size() >= 3, patience);
        QCOMPARE(b.shown.front(), 90.0);
        QVERIFY(!b.offMainThread);
        QCOMPARE(b.triggers, 0);  // sound triggering is off by default
    }

    void withoutAMicrophoneNothingIsShown() {
        Bench b;
        b.hasLevel = false;
        b.meter.start();
        QTest::qWait(500);
        QVERIFY(b.shown.empty());
    }

    void aLevelAboveTheThresholdTriggersWhenSoundTriggeringIsOn() {
        Bench b;
        b.defaults.set(audioTriggerEnabled, true);
        b.defaults.set(audioTriggerThreshold, 90.0);  // strictly above is needed
        b.meter.start();
        QTRY_VERIFY_WITH_TIMEOUT(b.shown.size() >= 3, patience);
        QCOMPARE(b.triggers, 0);
        b.level = -3.0;
        QTRY_VERIFY_WITH_TIMEOUT(b.triggers >= 2, patience);
        QVERIFY(!b.offMainThread);
    }

    // Ticks go on while the main thread is busy, and what they measured
    // waits for it; none of it may arrive once the meter was stopped.
    void nothingArrivesAfterTheMeterStopped() {
        Bench b;
        b.defaults.set(audioTriggerEnabled, true);
        b.defaults.set(audioTriggerThreshold, 10.0);
        b.meter.start();
        QTRY_VERIFY_WITH_TIMEOUT(!b.shown.empty(), patience);
        QThread::msleep(450);
        b.meter.stop();
        const std::size_t shown = b.shown.size();
        const int triggers = b.triggers;
        QTest::qWait(300);
        QCOMPARE(b.shown.size(), shown);
        QCOMPARE(b.triggers, triggers);
        QVERIFY(!b.meter.running());
    }

    void startingTwiceRunsOneMeter() {
        Bench b;
        b.meter.start();
        b.meter.start();
        QTRY_VERIFY_WITH_TIMEOUT(!b.shown.empty(), patience);
        const std::size_t before = b.shown.size();
        QElapsedTimer elapsed;
        elapsed.start();
        QTest::qWait(1000);
        const double ticks = double(b.shown.size() - before);
        QVERIFY2(ticks <= double(elapsed.elapsed()) / 100.0 * 1.15,
                 qPrintable(QString::number(ticks)));
    }

    // ---- Through the capture manager ----

    void aLoudSoundTriggers() {
        Harness h({}, {microphone("A", true)});
        h.defaults.set(audioTriggerEnabled, true);
        h.defaults.set(audioTriggerThreshold, 50.0);
        QVERIFY(h.setUp());
        h.setState(CaptureManagerRecordingController::armed);
        QTRY_VERIFY_WITH_TIMEOUT(!h.controller.started.empty(), patience);
        QVERIFY(!h.observers.soundLevels.empty());
        QVERIFY(*std::max_element(h.observers.soundLevels.begin(), h.observers.soundLevels.end()) >
                50);
        QCOMPARE(h.controller.started.front().front().microphoneName,
                 std::optional<QString>("Microphone A"));
    }

    void theSoundMeterTicksEveryTenthOfASecondWhileCapturing() {
        Harness h({}, {microphone("A", true)});
        h.defaults.set(audioTriggerEnabled, false);
        QVERIFY(h.setUp());
        h.manager->setPopoverOpen(true);
        QTRY_VERIFY_WITH_TIMEOUT(!h.observers.soundLevels.empty(), patience);
        const std::size_t before = h.observers.soundLevels.size();
        QElapsedTimer elapsed;
        elapsed.start();
        QTest::qWait(2000);
        const double ticks = double(h.observers.soundLevels.size() - before);
        const double expected = double(elapsed.elapsed()) / 100.0;
        QVERIFY2(ticks >= expected * 0.7 && ticks <= expected * 1.15,
                 qPrintable(QStringLiteral("%1 ticks in %2 ms").arg(ticks).arg(elapsed.elapsed())));

        h.manager->setPopoverOpen(false);
        QCOMPARE(h.observers.meterStops, 1);
        QTest::qWait(300);
        const std::size_t stoppedAt = h.observers.soundLevels.size();
        QTest::qWait(500);
        QCOMPARE(h.observers.soundLevels.size(), stoppedAt);
    }

    // Armed, with a sound well above the threshold: only the switch stops it.
    void aLoudSoundDoesNotTriggerWhileSoundTriggeringIsOff() {
        Harness h({}, {microphone("A", true)});
        h.defaults.set(audioTriggerEnabled, false);
        h.defaults.set(audioTriggerThreshold, 50.0);
        QVERIFY(h.setUp());
        h.setState(CaptureManagerRecordingController::armed);
        auto loud = [&] {
            return std::count_if(h.observers.soundLevels.begin(), h.observers.soundLevels.end(),
                                 [](double level) { return level > 50; });
        };
        QTRY_VERIFY_WITH_TIMEOUT(loud() >= 10, patience);
        QCoreApplication::processEvents();
        QVERIFY(h.controller.started.empty());
        QVERIFY(!h.manager->stopPending());
    }
};

QTEST_GUILESS_MAIN(tst_SoundMeter)
#include "tst_SoundMeter.moc"
