#include "DetectionZones.h"
#include "FileCamera.h"
#include "GstHandle.h"
#include "MovieProbe.h"
#include "PreviewTestBench.h"
#include "PreviewView.h"
#include "PreviewViewController.h"
#include "PreviewWindowController.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"
#include "ZoneEditorView.h"

#include <QDir>
#include <QProcess>
#include <QScreen>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace PreviewTestBench;

namespace {

double ratio(const QSize& size) {
    return static_cast<double>(size.width()) / size.height();
}

// A clip whose only motion is a dark square going to and fro in the right
// half (x from 170 to 310 of 320), so the left half never moves.
QString clipMovingOnTheRight(const QString& folder) {
    const QString path = folder + QStringLiteral("/right-half.mp4");
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"),
                 {QStringLiteral("-v"), QStringLiteral("error"), QStringLiteral("-f"),
                  QStringLiteral("lavfi"), QStringLiteral("-i"),
                  QStringLiteral("color=c=0xb0b0b0:s=320x240:r=15:d=4[bg];"
                                 "color=c=black:s=40x40:r=15:d=4[box];"
                                 "[bg][box]overlay=x='220+50*sin(3*t)':y=100"),
                  QStringLiteral("-pix_fmt"), QStringLiteral("yuv420p"), QStringLiteral("-c:v"),
                  QStringLiteral("libx264"), QStringLiteral("-y"), path});
    if (!ffmpeg.waitForFinished(60000) || ffmpeg.exitCode() != 0) {
        qWarning("%s", ffmpeg.readAllStandardError().constData());
        return {};
    }
    return path;
}

}  // namespace

class tst_PreviewViewController : public QObject {
    Q_OBJECT

    TestEnvironment environment;

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    void oneCameraShowsOnePictureAndItsName() {
        Defaults defaults(environment.settingsFilePath());
        PreviewViewController controller(defaults);
        controller.setCameras({QStringLiteral("Desk")}, {QStringLiteral("desk-id")});
        controller.setAspectRatio(QSize(1280, 720));
        controller.show();
        QVERIFY(QTest::qWaitForWindowExposed(&controller));
        QVERIFY(controller.previewView()->isVisible());
        QVERIFY(!controller.secondPreviewView()->isVisible());
        QCOMPARE(controller.windowTitle(), QStringLiteral("Nelvo - Desk"));
        QVERIFY2(std::abs(ratio(controller.size()) - 16.0 / 9) < 0.02,
                 qPrintable(QString::number(ratio(controller.size()))));
        QCOMPARE(controller.zoneEditor()->cameraID(), std::optional(QStringLiteral("desk-id")));
        QCOMPARE(controller.secondZoneEditor()->cameraID(), std::nullopt);
    }

    void twoCamerasSideBySideTwiceAsWide() {
        Defaults defaults(environment.settingsFilePath());
        PreviewViewController controller(defaults);
        controller.setAspectRatio(QSize(1280, 720));
        controller.setCameras({QStringLiteral("Desk"), QStringLiteral("Door")},
                              {QStringLiteral("desk-id"), QStringLiteral("door-id")});
        controller.show();
        QVERIFY(QTest::qWaitForWindowExposed(&controller));
        QVERIFY(controller.secondPreviewView()->isVisible());
        QCOMPARE(controller.windowTitle(), QStringLiteral("Nelvo - Desk + Door"));
        QCOMPARE(*controller.contentAspectRatio(), QSizeF(2560, 720));
        QVERIFY2(std::abs(ratio(controller.size()) - 32.0 / 9) < 0.03,
                 qPrintable(QString::number(ratio(controller.size()))));
        QCOMPARE(controller.secondZoneEditor()->cameraID(),
                 std::optional(QStringLiteral("door-id")));
        // Back to one camera: the second picture goes, the window narrows.
        controller.setCameras({QStringLiteral("Desk")}, {QStringLiteral("desk-id")});
        QVERIFY(!controller.secondPreviewView()->isVisible());
        QVERIFY(std::abs(ratio(controller.size()) - 16.0 / 9) < 0.02);
    }

    // The first of two cameras unplugged, the second goes on on its own
    // pipeline: its picture shows in the one view left, under its name, and
    // its zones are the ones edited there.
    void theCameraLeftShowsInTheFirstPicture() {
        Defaults defaults(environment.settingsFilePath());
        PreviewViewController controller(defaults);
        controller.setCameras({QStringLiteral("Desk"), QStringLiteral("Door")},
                              {QStringLiteral("desk-id"), QStringLiteral("door-id")});
        controller.show();
        QVERIFY(QTest::qWaitForWindowExposed(&controller));
        controller.previewImage(0, solidFrame(QSize(160, 90), 41, 240, 110));
        controller.previewImage(1, solidFrame(QSize(160, 90), 145, 54, 34));

        controller.setCameras({QStringLiteral("Door")}, {QString(), QStringLiteral("door-id")});
        controller.previewImage(1, solidFrame(QSize(120, 90), 145, 54, 34));
        QCOMPARE(controller.windowTitle(), QStringLiteral("Nelvo - Door"));
        QVERIFY(controller.previewView()->isVisible());
        QVERIFY(!controller.secondPreviewView()->isVisible());
        QCOMPARE(controller.zoneEditor()->cameraID(), std::optional(QStringLiteral("door-id")));
        QCOMPARE(controller.secondZoneEditor()->cameraID(), std::nullopt);
        QCOMPARE(*controller.aspectRatio(), QSize(120, 90));
        QTRY_COMPARE(controller.previewView()->pictureSize(), QSize(120, 90));
        QTRY_VERIFY(!controller.zoneEditor()->pictureRect().isEmpty());
        dragOn(controller.zoneEditor(), {0.1, 0.1}, {0.6, 0.6});
        QCOMPARE(DetectionZones::storedZones(QStringLiteral("door-id"), defaults).size(), 1u);
        QVERIFY(DetectionZones::storedZones(QStringLiteral("desk-id"), defaults).empty());

        // The first camera back on its pipeline takes the first view again.
        controller.setCameras({QStringLiteral("Desk"), QStringLiteral("Door")},
                              {QStringLiteral("desk-id"), QStringLiteral("door-id")});
        QCOMPARE(controller.zoneEditor()->cameraID(), std::optional(QStringLiteral("desk-id")));
        QCOMPARE(controller.secondZoneEditor()->cameraID(),
                 std::optional(QStringLiteral("door-id")));
        QVERIFY(controller.secondPreviewView()->isVisible());
    }

    void withoutCamerasTheTitleIsNelvo() {
        Defaults defaults(environment.settingsFilePath());
        PreviewViewController controller(defaults);
        controller.setCameras({}, {});
        QCOMPARE(controller.windowTitle(), QStringLiteral("Nelvo"));
        QVERIFY(!controller.secondPreviewView()->isVisibleTo(&controller));
        QCOMPARE(PreviewViewController::title({QStringLiteral("A"), QStringLiteral("B")}),
                 QStringLiteral("Nelvo - A + B"));
    }

    void windowStaysWithinTheScreen() {
        Defaults defaults(environment.settingsFilePath());
        PreviewViewController controller(defaults);
        controller.resize(3000, 2000);
        controller.setCameras({QStringLiteral("Desk"), QStringLiteral("Door")},
                              {QStringLiteral("desk-id"), QStringLiteral("door-id")});
        controller.setAspectRatio(QSize(1920, 1080));
        const QSize room = controller.screen()->availableGeometry().size();
        QVERIFY(controller.width() <= room.width());
        QVERIFY(controller.height() <= room.height());
        QVERIFY(std::abs(ratio(controller.size()) - 32.0 / 9) < 0.03);
    }

    void aspectOfNoHeightLeavesTheWindowAlone() {
        Defaults defaults(environment.settingsFilePath());
        PreviewViewController controller(defaults);
        controller.resize(500, 400);
        controller.setAspectRatio(QSize(640, 0));
        QCOMPARE(controller.size(), QSize(500, 400));
        QVERIFY(!controller.contentAspectRatio());
    }

    void editorsFollowTheirPictures() {
        Defaults defaults(environment.settingsFilePath());
        PreviewViewController controller(defaults);
        controller.setCameras({QStringLiteral("Desk"), QStringLiteral("Door")},
                              {QStringLiteral("desk-id"), QStringLiteral("door-id")});
        controller.show();
        QVERIFY(QTest::qWaitForWindowExposed(&controller));
        controller.previewImage(0, solidFrame(QSize(160, 90), 41, 240, 110));
        controller.previewImage(1, solidFrame(QSize(160, 90), 145, 54, 34));
        QCOMPARE(*controller.aspectRatio(), QSize(160, 90));
        QVERIFY(!controller.zoneEditor()->pictureRect().isEmpty());
        QCOMPARE(controller.zoneEditor()->pictureRect(), controller.previewView()->pictureRect());
        QCOMPARE(controller.secondZoneEditor()->pictureRect(),
                 controller.secondPreviewView()->pictureRect());
        QCOMPARE(controller.zoneEditor()->geometry(), controller.previewView()->rect());
        // A zone drawn on the second picture belongs to the second camera.
        dragOn(controller.secondZoneEditor(), {0.1, 0.1}, {0.6, 0.6});
        QCOMPARE(DetectionZones::storedZones(QStringLiteral("door-id"), defaults).size(), 1u);
        QVERIFY(DetectionZones::storedZones(QStringLiteral("desk-id"), defaults).empty());
    }

    // Two cameras really running at once: both pictures side by side, both
    // kept up to date.
    void twoLiveCamerasShowSideBySide() {
        Defaults defaults(environment.settingsFilePath());
        defaults.set(SettingsKeys::secondCameraID, QStringLiteral("demo-door"));
        SystemClock clock;
        Controller recording;
        auto desk = smallDemo();
        desk.uniqueID = QStringLiteral("demo-desk");
        desk.name = QStringLiteral("Desk");
        auto door = smallDemo();
        door.uniqueID = QStringLiteral("demo-door");
        door.name = QStringLiteral("Door");
        door.crossings = false;
        CaptureManager manager(
            defaults, clock, recording,
            cameras({std::make_shared<DemoCamera>(desk), std::make_shared<DemoCamera>(door)}));
        manager.setUp();
        PreviewWindowController preview(manager, defaults);
        preview.show();
        QVERIFY(QTest::qWaitForWindowExposed(preview.window()));
        PreviewViewController& controller = *preview.viewController();
        PreviewView* first = controller.previewView();
        PreviewView* second = controller.secondPreviewView();
        QTRY_COMPARE_WITH_TIMEOUT(preview.window()->windowTitle(),
                                  QStringLiteral("Nelvo - Desk + Door"), patience);
        QTRY_VERIFY_WITH_TIMEOUT(first->framesDrawn() > 3 && second->framesDrawn() > 3, patience);
        QVERIFY(second->isVisible());
        QCOMPARE(controller.zoneEditor()->cameraID(), std::optional(QStringLiteral("demo-desk")));
        QCOMPARE(controller.secondZoneEditor()->cameraID(),
                 std::optional(QStringLiteral("demo-door")));
        QCOMPARE(second->y(), first->y());
        QVERIFY(second->x() >= first->x() + first->width());
        QVERIFY(std::abs(ratio(preview.window()->size()) - 32.0 / 9) < 0.03);

        // Both keep being updated, each at its camera's pace.
        const auto firstDrawn = first->framesDrawn();
        const auto secondDrawn = second->framesDrawn();
        QTRY_VERIFY_WITH_TIMEOUT(
            first->framesDrawn() >= firstDrawn + 10 && second->framesDrawn() >= secondDrawn + 10,
            patience);

        // Each half shows its camera's wall.
        const QImage image = preview.window()->grab().toImage();
        for (PreviewView* view : {first, second}) {
            const QRectF picture = view->pictureRect().translated(view->pos());
            const QPoint p = QPointF(picture.left() + picture.width() * 60 / 320,
                                     picture.top() + picture.height() * 20 / 180)
                                 .toPoint();
            const QColor expected = demoWall(60, 20, 320, 180);
            QVERIFY2(close(image.pixelColor(p), expected, 12),
                     qPrintable(image.pixelColor(p).name() + " vs " + expected.name()));
        }
        preview.close();
    }

    void toggleOpensAndClosesThePreview() {
        Defaults defaults(environment.settingsFilePath());
        SystemClock clock;
        Controller recording;
        CaptureManager manager(defaults, clock, recording,
                               cameras({std::make_shared<DemoCamera>(smallDemo())}));
        manager.setUp();
        PreviewWindowController preview(manager, defaults);
        QSignalSpy closed(&preview, &PreviewWindowController::closed);
        QVERIFY(!preview.isVisible());
        QVERIFY(!manager.previewOpen());

        preview.toggle();
        QVERIFY(preview.isVisible());
        QVERIFY(manager.previewOpen());
        for (int i = 0; i < CaptureManager::pipelineCount; ++i) {
            QVERIFY(manager.pipeline(i).wantsPreview());
        }
        QTRY_COMPARE_WITH_TIMEOUT(preview.window()->windowTitle(),
                                  QStringLiteral("Nelvo - Demo Camera"), patience);
        auto* view = preview.viewController()->previewView();
        QTRY_VERIFY_WITH_TIMEOUT(view->framesReceived() > 3, patience);
        QCOMPARE(preview.viewController()->zoneEditor()->cameraID(),
                 std::optional(QStringLiteral("nelvo-demo-camera")));
        QVERIFY(std::abs(ratio(preview.window()->size()) - 16.0 / 9) < 0.02);

        preview.toggle();
        QVERIFY(!preview.isVisible());
        QCOMPARE(closed.count(), 1);
        QVERIFY(!manager.previewOpen());
        for (int i = 0; i < CaptureManager::pipelineCount; ++i) {
            QVERIFY(!manager.pipeline(i).wantsPreview());
        }
        // No pictures reach a closed window.
        QTest::qWait(300);
        const auto frames = view->framesReceived();
        QTest::qWait(500);
        QCOMPARE(view->framesReceived(), frames);

        // The window's own close button closes it the same way.
        preview.toggle();
        QVERIFY(manager.previewOpen());
        preview.window()->close();
        QCOMPARE(closed.count(), 2);
        QVERIFY(!manager.previewOpen());
        QVERIFY(!manager.pipeline(0).wantsPreview());
    }

    void zoneDrawnWithTheMouseDecidesWhatRecords_data() {
        QTest::addColumn<double>("left");
        QTest::addColumn<bool>("records");
        QTest::newRow("zone over the still left half") << 0.02 << false;
        QTest::newRow("zone over the moving right half") << 0.52 << true;
    }

    void zoneDrawnWithTheMouseDecidesWhatRecords() {
        QFETCH(double, left);
        QFETCH(bool, records);
        QTemporaryDir folder;
        const QString clip = clipMovingOnTheRight(folder.path());
        QVERIFY(!clip.isEmpty());
        Defaults defaults(environment.settingsFilePath());
        defaults.set(SettingsKeys::motionTriggerEnabled, true);
        defaults.set(SettingsKeys::motionTriggerThreshold, 20.0);
        defaults.set(SettingsKeys::timeoutValueInSeconds, 1);
        SystemClock clock;
        Controller recording;
        recording.folder = folder.path();
        auto camera = std::make_shared<FileCamera>(clip);
        DetectionZones::save(camera->uniqueID(), defaults, {});
        CaptureManager manager(defaults, clock, recording, cameras({camera}));
        manager.setUp();
        PreviewWindowController preview(manager, defaults);
        preview.show();
        auto* editor = preview.viewController()->zoneEditor();
        QTRY_VERIFY_WITH_TIMEOUT(!editor->pictureRect().isEmpty(), patience);
        QCOMPARE(editor->cameraID(), std::optional(camera->uniqueID()));
        // Drawn while the camera runs, not yet armed.
        dragOn(editor, {left, 0.05}, {left + 0.46, 0.95});
        QCOMPARE(editor->zones().size(), 1u);
        QCOMPARE(DetectionZones::zones(camera->uniqueID(), defaults)->size(), 1u);

        // Measurements made before the zone was drawn are over within a few
        // frames; counted in frames, not time, as a loaded machine measures
        // more slowly.
        const std::int64_t drawnAt = manager.framesSeen(0);
        QTRY_VERIFY_WITH_TIMEOUT(manager.framesSeen(0) >= drawnAt + 8, patience);
        recording.state = Controller::armed;
        manager.armedStateChanged();
        if (records) {
            QTRY_VERIFY_WITH_TIMEOUT(recording.starts > 0, patience);
        } else {
            // Three seconds of the clip (15 frames a second, the box never
            // still) measured while armed, and nothing started.
            const std::int64_t armedAt = manager.framesSeen(0);
            QTRY_VERIFY_WITH_TIMEOUT(manager.framesSeen(0) >= armedAt + 45, patience);
            QCOMPARE(recording.starts, 0);
        }
        recording.stopRecording();
        if (records) {
            QTRY_VERIFY_WITH_TIMEOUT(!recording.finishedFiles().isEmpty(), patience);
            const MovieProbe probe(recording.finishedFiles().front());
            QVERIFY2(probe.errorText().isEmpty(), qPrintable(probe.errorText()));
            QCOMPARE(probe.width(), 320);
            QCOMPARE(probe.height(), 240);
            QVERIFY(probe.frameCount() > 0);
        } else {
            QVERIFY(QDir(folder.path()).entryList({QStringLiteral("*.mov")}).isEmpty());
        }
        recording.state = Controller::unarmed;
        manager.armedStateChanged();
        preview.close();
    }
};

QTEST_MAIN(tst_PreviewViewController)
#include "tst_PreviewViewController.moc"
