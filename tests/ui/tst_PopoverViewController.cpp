#include "CaptureManager.h"
#include "ClickableLabel.h"
#include "Defaults.h"
#include "DemoCamera.h"
#include "DemoMicrophone.h"
#include "DocsImages.h"
#include "FileOutputManager.h"
#include "FixedDevices.h"
#include "GstHandle.h"
#include "LaunchDefaults.h"
#include "LevelIndicator.h"
#include "ManualClock.h"
#include "MenuBarIcon.h"
#include "MovieProbe.h"
#include "PopoverViewController.h"
#include "PreviewWindowController.h"
#include "RecordingManager.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"
#include "Translations.h"
#include "TriggerCostLine.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QLabel>
#include <QPushButton>
#include <QSignalSpy>
#include <QSlider>
#include <QTest>
#include <QToolButton>

using namespace std::chrono_literals;
using namespace SettingsKeys;

namespace {

constexpr int patience = 15000;  // ms, the longest a real-time step may take under load

// The capture manager's view of the real recording manager, as the application wires it.
class ManagerController : public CaptureManagerRecordingController {
public:
    explicit ManagerController(RecordingManager& manager) : manager_(manager) {}
    std::optional<int> armedStateRaw() const override {
        const std::optional<ArmState> state = manager_.armedState();
        return state ? std::optional(int(*state)) : std::nullopt;
    }
    void startRecordings(const std::vector<RecordingTarget>& targets) override {
        manager_.startRecordings(targets);
    }
    void stopRecording() override { manager_.stopRecording(); }
    void setCameraAvailable(bool available) override { manager_.setCameraAvailable(available); }
    void setMicrophoneAvailable(bool available) override {
        manager_.setMicrophoneAvailable(available);
    }
    bool motionDetectionStopped() const override { return manager_.motionDetectionStopped(); }
    void setMotionDetectionStopped(bool stopped) override {
        manager_.setMotionDetectionStopped(stopped);
    }
    void reportGap(const QDateTime& from, const QDateTime& until) override {
        manager_.reportGap(from, until);
    }
    void devicesChanged() override { manager_.devicesChanged(); }

private:
    RecordingManager& manager_;
};

std::shared_ptr<CaptureSource> demoCamera() {
    Gst::ensureInitialised();
    DemoCamera::Options options;
    options.width = 320;
    options.height = 180;
    options.framesPerSecond = 15;
    return std::make_shared<DemoCamera>(options);
}

// A second camera beside the demo one: a moving ball.
std::shared_ptr<CaptureSource> ballCamera() {
    return std::make_shared<LaunchSource>(
        QStringLiteral("cam-b"), QStringLiteral("Garden Camera"),
        QStringLiteral("videotestsrc is-live=true pattern=ball ! capsfilter "
                       "caps=video/x-raw,width=320,height=240,framerate=15/1"));
}

// Nelvo as the application puts it together: the real managers on demo
// devices, settings in a file of the test's own, and the popover on top.
struct Popover {
    TestEnvironment env;
    Defaults defaults{env.settingsFilePath()};
    ManualClock clock{QDateTime(QDate(2026, 11, 23), QTime(9, 0))};  // a Monday
    std::unique_ptr<RecordingManager> manager;
    std::unique_ptr<ManagerController> controller;
    std::unique_ptr<CaptureManager> capture;
    std::unique_ptr<PopoverViewController> popover;
    QList<QStringList> revealed;
    int loginReads = 0;

    explicit Popover(bool twoCameras = false, bool freshStart = false) {
        LaunchDefaults::registerDefaults(defaults);
        LaunchDefaults::writeFirstLaunchValues(defaults);
        defaults.set(freshStartNoticePending, freshStart);
        if (twoCameras) {
            defaults.set(secondCameraID, QStringLiteral("cam-b"));
        }
        manager = std::make_unique<RecordingManager>(defaults, clock);
        manager->freeSpace = [] { return std::optional<qint64>(1LL << 40); };
        controller = std::make_unique<ManagerController>(*manager);
        std::vector<std::shared_ptr<CaptureSource>> cameras{demoCamera()};
        if (twoCameras) {
            cameras.push_back(ballCamera());
        }
        capture = std::make_unique<CaptureManager>(
            defaults, clock, *controller,
            std::make_unique<FixedDevices>(cameras, std::vector<std::shared_ptr<CaptureSource>>{
                                                        std::make_shared<DemoMicrophone>()}));
        PopoverViewController::Services services;
        services.loginState = [this] {
            ++loginReads;
            return LoginItem::State::on;
        };
        services.revealFiles = [this](const QStringList& files) { revealed << files; };
        popover = std::make_unique<PopoverViewController>(*manager, *capture, services);
        capture->setActivityDelegate(popover.get());
        QObject::connect(manager.get(), &RecordingManager::armedStateRawChanged, capture.get(),
                         &CaptureManager::armedStateChanged);
        connect();
    }
    ~Popover() {
        capture->setActivityDelegate(nullptr);
        popover.reset();
        capture.reset();  // its pipelines feed recorders the manager drives
    }

    void connect() {
        QSignalSpy configured(capture.get(), &CaptureManager::devicesConfigured);
        capture->setUp();
        QVERIFY(configured.wait(patience));
        QCoreApplication::processEvents();
    }

    QString folder() const { return manager->fileOutputManager().nelvoPath(); }
    QString line() const {
        return popover->triggerCostShown() ? popover->triggerCostLabel()->text() : QString();
    }
    QString notice() const {
        return popover->noticeLabel()->isHidden() ? QString() : popover->noticeLabel()->text();
    }
    // Files named like recordings, `bytes` long each (sparse), `minutesAgo` apart.
    void addRecordings(int count, qint64 bytes, int minutesApart = 10) {
        QDir().mkpath(folder());
        for (int i = 1; i <= count; ++i) {
            const QDateTime start = clock.now().addSecs(-60LL * minutesApart * i);
            QFile file(folder() + u'/' +
                       FileOutputManager::recordingName(start, QStringLiteral("Demo Camera"),
                                                        QStringLiteral("Demo Microphone")) +
                       QStringLiteral(".mov"));
            QVERIFY(file.open(QIODevice::WriteOnly));
            QVERIFY(file.resize(bytes));
        }
    }
    // The last armed stretch as the manager keeps it.
    void keepStretch(const QDateTime& from, const QDateTime& to) {
        defaults.set(armedStretchFrom, from);
        defaults.set(armedStretchTo, to);
    }
    // As the holding window shows it.
    void show() {
        popover->show();
        QVERIFY(QTest::qWaitForWindowExposed(popover.get()));
        popover->popoverDidShow();
    }
    // Until camera `index` sees motion (the demo camera's object crosses
    // 5 s into every 20 s) and the microphone's meter moves.
    void waitForLevels(int index) {
        const LevelIndicator* motion =
            index == 0 ? popover->motionLevelIndicator() : popover->secondMotionLevelIndicator();
        QTRY_VERIFY_WITH_TIMEOUT(motion->value() > 10, 25000);
        QTRY_VERIFY_WITH_TIMEOUT(popover->soundLevelIndicator()->value() > 1, patience);
    }
    void arm() {
        QTest::mouseClick(popover->armedButton(), Qt::LeftButton);
        clock.advance(5s);
        QCOMPARE(manager->armedState(), ArmState::armed);
    }
};

QColor textColor(const QLabel* label) {
    return label->palette().color(label->foregroundRole());
}

}  // namespace

class tst_PopoverViewController : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // The catalogue carries the singular forms of the counted texts.
    void initTestCase() { Translations::install(*QCoreApplication::instance()); }

    void theArmButtonCountsDownThenDisarms() {
        Popover p;
        QPushButton* button = p.popover->armedButton();
        QVERIFY(button->isEnabled());
        QCOMPARE(button->text(), QStringLiteral("Arm"));
        QCOMPARE(p.popover->armedTextField()->text(), QStringLiteral("Unarmed"));

        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(p.popover->armedTextField()->text(), QStringLiteral("Arming… 5"));
        QCOMPARE(button->text(), QStringLiteral("Disarm"));
        QCOMPARE(textColor(p.popover->armedTextField()),
                 MenuBarIcon::color(MenuBarIcon::Tint::orange));
        for (int left = 4; left >= 1; --left) {
            p.clock.advance(1s);
            QCOMPARE(p.popover->armedTextField()->text(), QStringLiteral("Arming… %1").arg(left));
        }
        p.clock.advance(1s);
        QCOMPARE(p.popover->armedTextField()->text(), QStringLiteral("Armed"));
        QCOMPARE(textColor(p.popover->armedTextField()),
                 MenuBarIcon::color(MenuBarIcon::Tint::red));
        QVERIFY(p.defaults.date(armedStretchSince));

        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(p.manager->armedState(), ArmState::unarmed);
        QCOMPARE(p.popover->armedTextField()->text(), QStringLiteral("Unarmed"));
        QCOMPARE(button->text(), QStringLiteral("Arm"));
    }

    void theCheckboxesWriteTheirKeysAndDecideWhetherArmingIsPossible() {
        Popover p;
        QCheckBox* motion = p.popover->motionTriggerCheckbox();
        QCheckBox* sound = p.popover->audioTriggerCheckbox();
        QVERIFY(motion->isChecked());
        QVERIFY(!sound->isChecked());
        motion->click();
        QVERIFY(!p.defaults.boolValue(motionTriggerEnabled));
        QVERIFY(!p.popover->armedButton()->isEnabled());  // nothing could trigger
        QTest::mouseClick(p.popover->armedButton(), Qt::LeftButton);
        QCOMPARE(p.manager->armedState(), ArmState::unarmed);

        sound->click();
        QVERIFY(p.defaults.boolValue(audioTriggerEnabled));
        QVERIFY(p.popover->armedButton()->isEnabled());  // the demo microphone listens
        sound->click();
        QVERIFY(!p.popover->armedButton()->isEnabled());
        motion->click();
        QVERIFY(p.defaults.boolValue(motionTriggerEnabled));
        QVERIFY(p.popover->armedButton()->isEnabled());
    }

    void theSlidersWriteTheCameraKeyAndTheSharedOne() {
        Popover p(true);
        QVERIFY(p.popover->secondRowShown());
        p.popover->thresholdSlider()->setValue(30);
        QCOMPARE(p.defaults.real(motionTriggerThresholdFor("nelvo-demo-camera")), 30.0);
        QCOMPARE(p.defaults.real(motionTriggerThreshold), 30.0);
        QCOMPARE(p.popover->motionLevelIndicator()->criticalValue(), 30.0);
        QCOMPARE(p.popover->motionLevelIndicator()->warningValue(), 22.5);

        // The second camera's slider also becomes the default of cameras without their own.
        p.popover->secondThresholdSlider()->setValue(64);
        QCOMPARE(p.defaults.real(motionTriggerThresholdFor("cam-b")), 64.0);
        QCOMPARE(p.defaults.real(motionTriggerThreshold), 64.0);
        QCOMPARE(p.defaults.real(motionTriggerThresholdFor("nelvo-demo-camera")), 30.0);
        QCOMPARE(p.popover->secondMotionLevelIndicator()->criticalValue(), 64.0);
        QCOMPARE(p.popover->secondMotionLevelIndicator()->warningValue(), 48.0);
        QCOMPARE(p.popover->motionLevelIndicator()->criticalValue(), 30.0);

        p.popover->audioThresholdSlider()->setValue(40);
        QCOMPARE(p.defaults.integer(audioTriggerThreshold), 40);
        QCOMPARE(p.popover->soundLevelIndicator()->criticalValue(), 40.0);
        QCOMPARE(p.popover->soundLevelIndicator()->warningValue(), 30.0);
    }

    void theSecondRowFollowsTheSecondCamera() {
        Popover p(true);
        p.show();
        QVERIFY(p.popover->secondRowShown());
        QVERIFY(p.popover->secondThresholdSlider()->isVisible());
        QCOMPARE(p.popover->secondMotionDeviceLabel()->text(), QStringLiteral("Garden Camera"));
        QCOMPARE(p.popover->motionDeviceLabel()->text(), QStringLiteral("Demo Camera"));
        QCOMPARE(p.popover->soundDeviceLabel()->text(), QStringLiteral("Demo Microphone"));
        const int twoRows = p.popover->sizeHint().height();
        QCOMPARE(p.popover->width(), PopoverViewController::baseWidth);

        QSignalSpy resized(p.popover.get(), &PopoverViewController::preferredSizeChanged);
        QSignalSpy configured(p.capture.get(), &CaptureManager::devicesConfigured);
        p.capture->chooseSecondCamera(QString());  // the user chose none
        QVERIFY(configured.wait(patience));
        QTRY_VERIFY_WITH_TIMEOUT(!p.popover->secondRowShown(), patience);
        QVERIFY(!p.popover->secondMotionDeviceLabel()->isVisibleTo(p.popover.get()));
        QVERIFY(resized.count() >= 1);
        QVERIFY(p.popover->sizeHint().height() < twoRows);
        QCOMPARE(p.popover->height(), p.popover->sizeHint().height());
    }

    // A motion row belongs to its camera: when the cameras change places, each
    // row's name and level go with the camera, and a camera new to the
    // popover starts from rest.
    void aMotionRowFollowsItsCameraWhenTheCamerasChangePlaces() {
        Popover p(true);
        QVERIFY(p.popover->secondRowShown());
        QCOMPARE(p.popover->motionDeviceLabel()->text(), QStringLiteral("Demo Camera"));
        p.popover->motionLevel(0, 80);
        p.popover->motionLevel(0, 80);
        p.popover->motionLevel(1, 20);
        QCOMPARE(p.popover->motionLevelIndicator()->value(), 60.0);
        QCOMPARE(p.popover->secondMotionLevelIndicator()->value(), 10.0);

        QSignalSpy configured(p.capture.get(), &CaptureManager::devicesConfigured);
        p.defaults.set(secondCameraID, QStringLiteral("nelvo-demo-camera"));
        p.capture->chooseCamera(QStringLiteral("cam-b"));
        QVERIFY(configured.wait(patience));
        QTRY_COMPARE_WITH_TIMEOUT(p.popover->motionDeviceLabel()->text(),
                                  QStringLiteral("Garden Camera"), patience);
        QCOMPARE(p.popover->secondMotionDeviceLabel()->text(), QStringLiteral("Demo Camera"));
        QCOMPARE(p.popover->motionLevelIndicator()->value(), 10.0);
        QCOMPARE(p.popover->secondMotionLevelIndicator()->value(), 60.0);

        p.capture->chooseSecondCamera(QString());
        QVERIFY(configured.wait(patience));
        QTRY_VERIFY_WITH_TIMEOUT(!p.popover->secondRowShown(), patience);
        p.capture->chooseSecondCamera(QStringLiteral("nelvo-demo-camera"));
        QVERIFY(configured.wait(patience));
        QTRY_VERIFY_WITH_TIMEOUT(p.popover->secondRowShown(), patience);
        QCOMPARE(p.popover->secondMotionLevelIndicator()->value(), 0.0);
        QCOMPARE(p.popover->motionLevelIndicator()->value(), 10.0);
    }

    void oneCameraShowsNoSecondRow() {
        Popover p;
        p.show();
        QVERIFY(!p.popover->secondRowShown());
        QVERIFY(!p.popover->secondThresholdSlider()->isVisibleTo(p.popover.get()));
    }

    void levelsAreSmoothedOverOneStep() {
        Popover p;
        p.popover->motionLevel(0, 80);
        QCOMPARE(p.popover->motionLevelIndicator()->value(), 40.0);
        p.popover->motionLevel(0, 80);
        QCOMPARE(p.popover->motionLevelIndicator()->value(), 60.0);
        p.popover->motionLevel(0, 0);
        QCOMPARE(p.popover->motionLevelIndicator()->value(), 30.0);
        p.popover->soundLevel(50);
        QCOMPARE(p.popover->soundLevelIndicator()->value(), 25.0);
        p.popover->soundMeterStopped();
        QCOMPARE(p.popover->soundLevelIndicator()->value(), 0.0);
        QCOMPARE(p.popover->motionLevelIndicator()->value(), 0.0);
    }

    void realLevelsReachTheMetersWhileThePopoverIsOpen() {
        Popover p;
        p.popover->popoverDidShow();
        QVERIFY(p.capture->popoverOpen());
        QTRY_VERIFY_WITH_TIMEOUT(p.popover->soundLevelIndicator()->value() > 0, patience);
        QTRY_VERIFY_WITH_TIMEOUT(p.capture->framesSeen(0) > 3, patience);
        QTRY_COMPARE_WITH_TIMEOUT(p.loginReads, 1, patience);  // read off the GUI thread
        p.popover->popoverDidClose();
        QVERIFY(!p.capture->popoverOpen());
    }

    void pinningKeepsThePopoverOpen() {
        Popover p;
        QSignalSpy pinned(p.popover.get(), &PopoverViewController::floatPopoverChanged);
        QVERIFY(p.popover->popoverShouldClose());
        p.popover->pinButton()->click();
        QVERIFY(p.popover->floatPopover());
        QVERIFY(!p.popover->popoverShouldClose());
        p.popover->pinButton()->click();
        QVERIFY(!p.popover->floatPopover());
        QVERIFY(p.popover->popoverShouldClose());
        // The holding window is told, so a pinned popup can let go of the pointer.
        QCOMPARE(pinned.size(), 2);
        QCOMPARE(pinned.at(0).at(0).toBool(), true);
        QCOMPARE(pinned.at(1).at(0).toBool(), false);
    }

    // The preview button opens the preview window, which makes the cameras
    // send their pictures, and closes it again.
    void thePreviewButtonOpensAndClosesThePreview() {
        Popover p;
        QVERIFY(p.popover->previewButton()->isEnabled());
        QVERIFY(!p.capture->previewOpen());
        QTest::mouseClick(p.popover->previewButton(), Qt::LeftButton);
        QVERIFY(p.popover->previewWindowController() != nullptr);
        QVERIFY(p.popover->previewWindowController()->isVisible());
        QVERIFY(p.capture->previewOpen());
        QTest::mouseClick(p.popover->previewButton(), Qt::LeftButton);
        QVERIFY(!p.popover->previewWindowController()->isVisible());
        QVERIFY(!p.capture->previewOpen());
    }

    void theNoticeFollowsTheManager() {
        Popover p(false, true);
        QCOMPARE(p.notice(), QStringLiteral("Nelvo is starting with default settings.\nCheck the "
                                            "recordings folder and arm at login in Settings."));
        p.defaults.set(freshStartNoticePending, false);
        QTRY_COMPARE(p.notice(), QString());
        QVERIFY(p.popover->noticeLabel()->isHidden());

        // A recording refused for lack of space.
        p.arm();
        const int before = p.popover->sizeHint().height();
        p.manager->freeSpace = [] { return std::optional<qint64>(100); };
        p.capture->trigger();
        QTRY_VERIFY_WITH_TIMEOUT(p.manager->recordingFailure().has_value(), patience);
        QVERIFY2(p.notice().contains(QStringLiteral("there's no room left where recordings go")),
                 qPrintable(p.notice()));
        QVERIFY(p.popover->sizeHint().height() > before);

        // Deletions made later than the failure take the notice over. (The
        // clock moves less than the 5 s that would count as a gap in watching.)
        p.defaults.set(timeoutValueInSeconds, 2);
        p.clock.advance(1s);
        p.manager->freeSpace = [] { return std::optional<qint64>(1LL << 40); };
        p.addRecordings(2, 1LL << 30, 60 * 24);
        p.defaults.set(recordingsLimitGB, 1);
        QTRY_VERIFY_WITH_TIMEOUT(p.capture->framesSeen(0) > 20, patience);
        p.capture->trigger();
        QCOMPARE(p.manager->armedState(), ArmState::recording);
        QTRY_COMPARE_WITH_TIMEOUT(p.manager->currentFilePaths().size(), 1, patience);
        const QString movie = *p.manager->currentFilePaths().begin();
        QTest::qWait(1500);
        p.clock.advance(2s);  // the timeout after the trigger
        QTRY_COMPARE_WITH_TIMEOUT(p.manager->armedState(), ArmState::armed, patience);
        QTRY_COMPARE_WITH_TIMEOUT(p.manager->deletedCount(), 2, patience);
        QCOMPARE(p.notice(), QStringLiteral("The 2 oldest recordings were deleted to stay under "
                                            "your limit"));
        const MovieProbe probe(movie);
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec("video"), QStringLiteral("h264"));

        p.manager->disarm();  // a disarm clears them
        QCOMPARE(p.notice(), QString());
    }

    void theTriggerCostLineSaysWhatARecordingCosts() {
        Popover p;
        p.popover->popoverDidShow();
        QVERIFY(!p.popover->triggerCostShown());  // too few recordings to tell
        QVERIFY(p.popover->triggerCostLabel()->isHidden());

        // Ten recordings of 14 s against a minimum of 5 s pre-roll and 5 s timeout.
        p.addRecordings(10, 14'000'000);
        p.popover->popoverDidShow();  // the folder is read anew, off the GUI thread
        QTRY_COMPARE(p.line(), QStringLiteral("10 recordings in the last day, most barely longer "
                                              "than the 10s minimum."));
        QVERIFY(!p.popover->triggerCostLabel()->isClickable());
        QCOMPARE(p.popover->triggerCostLabel()->foregroundRole(), QPalette::PlaceholderText);

        // Exactly 1.5 x the minimum is typical, not barely longer.
        QDir(p.folder()).removeRecursively();
        p.addRecordings(11, 15'000'000);
        p.popover->popoverDidShow();
        QTRY_COMPARE(p.line(), QStringLiteral("11 recordings in the last day, typically 15s. "
                                              "Nelvo can't make one shorter than 10s."));
    }

    void aSummaryWithNoFilesIsPlainAndDoesNothing() {
        Popover p;
        p.keepStretch(p.clock.now().addSecs(-3600), p.clock.now().addSecs(-1800));
        p.popover->popoverDidShow();
        QCOMPARE(p.line(), QStringLiteral("Armed for 30m, nothing recorded"));
        QCOMPARE(p.popover->triggerCostLabel()->foregroundRole(), QPalette::PlaceholderText);
        QVERIFY(!p.popover->triggerCostLabel()->isClickable());
        QCOMPARE(p.popover->triggerCostLabel()->cursor().shape(), Qt::ArrowCursor);
        QTest::mouseClick(p.popover->triggerCostLabel(), Qt::LeftButton);
        QVERIFY(p.revealed.isEmpty());
    }

    void aSummaryWithFilesIsALinkToThem() {
        Popover p;
        const QDateTime from = p.clock.now().addSecs(-3600);
        p.keepStretch(from, p.clock.now().addSecs(-1800));
        QDir().mkpath(p.folder());
        const QString still =
            p.folder() + u'/' +
            FileOutputManager::recordingName(from.addSecs(600), "Demo Camera", "Demo Microphone") +
            QStringLiteral(".jpg");
        QImage picture(64, 36, QImage::Format_RGB32);
        picture.fill(Qt::darkGray);
        QVERIFY(picture.save(still, "JPEG"));
        p.popover->popoverDidShow();
        QTRY_VERIFY2(p.line().startsWith(QStringLiteral("Armed for 30m: one recording at")),
                     qPrintable(p.line()));
        QCOMPARE(p.popover->triggerCostLabel()->foregroundRole(), QPalette::Link);
        QVERIFY(p.popover->triggerCostLabel()->isClickable());
        QCOMPARE(p.popover->triggerCostLabel()->cursor().shape(), Qt::PointingHandCursor);
        QTest::mouseClick(p.popover->triggerCostLabel(), Qt::LeftButton);
        QCOMPARE(p.revealed, QList<QStringList>{QStringList{still}});
        p.popover->popoverMenu()->validate();
        p.popover->popoverMenu()->showWhatHappenedMenuItem()->trigger();
        QCOMPARE(p.revealed.size(), 2);

        // Armed again, the line is back to the cost (too few recordings: hidden).
        p.arm();
        QVERIFY(!p.popover->triggerCostShown());
    }

    void aFailedTimeLapseIsShownUntilThePopoverCloses() {
        Popover p;
        p.keepStretch(p.clock.now().addSecs(-3600), p.clock.now().addSecs(-1800));
        p.popover->popoverDidShow();
        p.popover->popoverMenu()->validate();
        QAction* item = p.popover->popoverMenu()->makeTimeLapseMenuItem();
        QVERIFY(item->isEnabled());
        item->trigger();
        QVERIFY(p.manager->isMakingTimeLapse());
        QVERIFY2(p.line().startsWith(QStringLiteral("Making a time-lapse… ")),
                 qPrintable(p.line()));
        QTRY_VERIFY_WITH_TIMEOUT(!p.manager->isMakingTimeLapse(), patience);
        const QString failed =
            QStringLiteral("Nothing in that stretch could be read, so no time-lapse was made");
        QCOMPARE(p.line(), failed);
        QCOMPARE(p.popover->triggerCostLabel()->foregroundRole(), QPalette::PlaceholderText);
        p.popover->popoverDidShow();  // shown again while still open: it stays
        QCOMPARE(p.line(), failed);
        p.popover->popoverDidClose();
        QVERIFY(!p.manager->timeLapseFailed());
        p.popover->popoverDidShow();
        QCOMPARE(p.line(), QStringLiteral("Armed for 30m, nothing recorded"));
    }

    void theLineNamesATimeLapseInProgressAndOneNotWritten() {
        TriggerCostLine::Inputs inputs;
        inputs.armedState = ArmState::armed;
        inputs.cost = DiskBudget::RecordingCost{12, 20, 10};
        inputs.timeLapseProgress = 0.426;
        QCOMPARE(TriggerCostLine::choose(inputs).text, QStringLiteral("Making a time-lapse… 42%"));
        inputs.timeLapseProgress.reset();
        inputs.timeLapseNotWritten = QStringLiteral("the disk is full");
        const TriggerCostLine line = TriggerCostLine::choose(inputs);
        QCOMPARE(line.text, QStringLiteral("Time-lapse not written: the disk is full"));
        QVERIFY(!line.clickable);
        inputs.timeLapseNotWritten.reset();
        QCOMPARE(TriggerCostLine::choose(inputs).text,
                 QStringLiteral("12 recordings in the last day, typically 20s. Nelvo can't make "
                                "one shorter than 10s."));
    }

    void theMenuRecordsATestAndKnowsTheStretch() {
        Popover p;
        p.popover->popoverMenu()->validate();
        QCOMPARE(p.popover->popoverMenu()->showWhatHappenedMenuItem()->text(),
                 QStringLiteral("Show What Happened"));
        QVERIFY(p.popover->popoverMenu()->recordTestMenuItem()->isEnabled());
        p.popover->popoverMenu()->recordTestMenuItem()->trigger();
        QVERIFY(p.manager->isRecordingTest());
        QCOMPARE(p.manager->armedState(), ArmState::arming);
        p.popover->popoverMenu()->validate();
        QVERIFY(!p.popover->popoverMenu()->recordTestMenuItem()->isEnabled());
        p.manager->disarm();
    }

    // Pictures for the documentation, of the real popover in its main states.
    void drawsThePopoverForTheDocumentation() {
        {
            Popover p;
            p.defaults.set(timeoutValueInSeconds, 2);
            p.addRecordings(12, 21'000'000, 60);
            p.show();
            p.waitForLevels(0);
            // The countdown runs second by second on the test's clock while
            // measurements keep arriving (a longer jump would look like a
            // camera that stopped); the picture is taken as soon as it is
            // armed, before the moving object's trigger gets its turn.
            QTest::mouseClick(p.popover->armedButton(), Qt::LeftButton);
            for (int second = 0; second < 4; ++second) {
                p.clock.advance(1s);
                QTest::qWait(100);
            }
            p.clock.advance(1s);
            QCOMPARE(p.popover->armedTextField()->text(), QStringLiteral("Armed"));
            DocsImages::save(p.popover->grab().toImage(), QStringLiteral("popover-armed.png"));

            QTRY_VERIFY_WITH_TIMEOUT(p.capture->framesSeen(0) > 20, patience);
            p.capture->trigger();
            QCOMPARE(p.popover->armedTextField()->text(), QStringLiteral("Recording"));
            DocsImages::save(p.popover->grab().toImage(), QStringLiteral("popover-recording.png"));
            QTRY_COMPARE_WITH_TIMEOUT(p.manager->currentFilePaths().size(), 1, patience);
            const QString movie = *p.manager->currentFilePaths().begin();
            QTest::qWait(1500);
            p.clock.advance(2s);
            QTRY_COMPARE_WITH_TIMEOUT(p.manager->armedState(), ArmState::armed, patience);
            const MovieProbe probe(movie);
            QVERIFY2(probe.readable(), qPrintable(probe.errorText()));

            p.manager->freeSpace = [] { return std::optional<qint64>(100); };
            p.capture->trigger();
            QTRY_VERIFY_WITH_TIMEOUT(p.manager->recordingFailure().has_value(), patience);
            DocsImages::save(p.popover->grab().toImage(), QStringLiteral("popover-failure.png"));
        }
        {
            Popover p(false, true);
            p.show();
            p.waitForLevels(0);
            DocsImages::save(p.popover->grab().toImage(),
                             QStringLiteral("popover-fresh-start.png"));
        }
        Popover p(true);
        p.show();
        p.waitForLevels(0);
        DocsImages::save(p.popover->grab().toImage(), QStringLiteral("popover-two-cameras.png"));
    }
};

QTEST_MAIN(tst_PopoverViewController)
#include "tst_PopoverViewController.moc"
