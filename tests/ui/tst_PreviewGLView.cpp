// The preview's OpenGL path on an X server of the test's own (Xvfb, drawn by
// Mesa's software renderer): what the shader draws, read back from the
// widget's framebuffer. A software renderer would get the QPainter path, so
// OpenGL is forced here unless NELVO_PREVIEW_OPENGL is set already.

#include "DocsImages.h"
#include "PreviewDrawingPath.h"
#include "PreviewGLView.h"
#include "PreviewTestBench.h"
#include "PreviewView.h"
#include "PreviewViewController.h"
#include "PreviewWindowController.h"
#include "TestEnvironment.h"
#include "VirtualDisplay.h"

#include <dlfcn.h>
#include <link.h>
#include <QApplication>
#include <QTest>
#include <cstring>

using namespace PreviewTestBench;

class tst_PreviewGLView : public QObject {
    Q_OBJECT

    TestEnvironment environment;

    static QImage drawn(PreviewView& view) {
        return view.glView()->grabFramebuffer().convertToFormat(QImage::Format_RGB32);
    }

    // Mesa's driver is unloaded when the display closes, before the leak
    // check at exit: kept loaded, its one-time blocks carry its name.
    static void keepOpenGLDriversLoaded() {
        dl_iterate_phdr(
            [](dl_phdr_info* info, std::size_t, void*) {
                if (std::strstr(info->dlpi_name, "_dri.so")) {
                    dlopen(info->dlpi_name, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
                }
                return 0;
            },
            nullptr);
    }

private Q_SLOTS:
    void cleanupTestCase() { keepOpenGLDriversLoaded(); }

    void initTestCase() {
        Gst::ensureInitialised();
        if (forced()) {
            QVERIFY(PreviewView::openGLAvailable());
        }
    }

    static bool forced() { return qEnvironmentVariable("NELVO_PREVIEW_OPENGL") == "1"; }

    // Xvfb's OpenGL is Mesa's software renderer, and the choice sees it: the
    // QPainter path unless OpenGL is forced (the test runs both ways).
    void theChoiceFollowsTheRenderer() {
        const QString renderer = PreviewView::openGLRenderer();
        QVERIFY2(PreviewDrawingPath::isSoftwareRenderer(renderer), qPrintable(renderer));
        PreviewView view;
        QCOMPARE(view.usesOpenGL(), forced());
        QCOMPARE(PreviewView::openGLAvailable(), forced());
    }

    void aWindowSystemWithOpenGLGetsTheOpenGLPath() {
        PreviewView view;
        QVERIFY(view.usesOpenGL());
        QVERIFY(view.glView());
        PreviewView::setOpenGLAllowed(false);
        PreviewView painted;
        PreviewView::setOpenGLAllowed(true);
        QVERIFY(!painted.usesOpenGL());
    }

    void newSizeRemakesTheTexturesOnce() {
        PreviewView view;
        view.resize(400, 300);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QCOMPARE(view.buffersMade(), 0);
        for (int i = 0; i < 3; ++i) {
            view.setFrame(solidFrame(QSize(320, 240), 60 + 40 * i, 100, 150));
        }
        QCOMPARE(view.buffersMade(), 1);
        view.setFrame(solidFrame(QSize(640, 360), 80, 90, 240));
        QCOMPARE(view.buffersMade(), 2);
        for (int i = 0; i < 5; ++i) {
            view.setFrame(solidFrame(QSize(640, 360), 40, 200, 100));
        }
        QCOMPARE(view.buffersMade(), 2);
        QCOMPARE(view.framesFilled(), 9u);
        QCOMPARE(view.framesReceived(), 9u);
        // Uploaded as it arrived: the camera's frame and the mask are free again.
        const PreviewFrame frame = solidFrame(QSize(640, 360), 40, 200, 100);
        view.setFrame(frame);
        QCOMPARE(GST_MINI_OBJECT_REFCOUNT_VALUE(frame.sample.get()), 1);
        QCOMPARE(frame.mask.use_count(), 1);
    }

    void theShaderDrawsThePictureAspectFitWithMovedPixelsRed_data() {
        QTest::addColumn<int>("format");
        QTest::newRow("I420") << int(GST_VIDEO_FORMAT_I420);
        QTest::newRow("NV12") << int(GST_VIDEO_FORMAT_NV12);
        QTest::newRow("NV21") << int(GST_VIDEO_FORMAT_NV21);
        QTest::newRow("Y444") << int(GST_VIDEO_FORMAT_Y444);
    }

    // The same colours as the QPainter path (BT.601, limited range), within
    // the rounding of the two ways.
    void theShaderDrawsThePictureAspectFitWithMovedPixelsRed() {
        QFETCH(int, format);
        PreviewView view;
        view.resize(400, 400);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        view.setFrame(solidFrame(QSize(200, 100), 112, 80, 60, QRect(40, 20, 40, 30),
                                 static_cast<GstVideoFormat>(format)));
        QCOMPARE(view.pictureRect(), QRectF(0, 100, 400, 200));
        QTRY_VERIFY(view.framesDrawn() >= 1);
        const QImage image = drawn(view);
        QCOMPARE(image.size(), QSize(400, 400) * view.devicePixelRatioF());
        const QColor expected = bt601(112, 80, 60);
        for (const QPoint p : {QPoint(300, 200), QPoint(20, 280), QPoint(390, 110)}) {
            QVERIFY2(close(image.pixelColor(p), expected, 2),
                     qPrintable(image.pixelColor(p).name() + " vs " + expected.name()));
        }
        QCOMPARE(image.pixelColor(200, 50), QColor(Qt::black));
        QCOMPARE(image.pixelColor(200, 350), QColor(Qt::black));
        // Moved pixels (40..79, 20..49) land at twice their place, 100 rows down.
        QCOMPARE(image.pixelColor(100, 160), QColor(255, 0, 0));
        QCOMPARE(image.pixelColor(82, 142), QColor(255, 0, 0));
        QVERIFY(close(image.pixelColor(180, 160), expected, 2));
        QVERIFY(close(image.pixelColor(100, 220), expected, 2));
    }

    // Moving to another window replaces the OpenGL context: the view starts
    // afresh in the new one and keeps drawing.
    void drawsAgainAfterMovingToAnotherWindow() {
        QWidget first;
        first.resize(200, 100);
        auto* view = new PreviewView(&first);
        view->resize(200, 100);
        first.show();
        QVERIFY(QTest::qWaitForWindowExposed(&first));
        view->setFrame(solidFrame(QSize(200, 100), 112, 80, 60));
        QTRY_VERIFY(view->framesDrawn() >= 1);
        QWidget second;
        second.resize(200, 100);
        view->setParent(&second);
        view->show();
        second.show();
        QVERIFY(QTest::qWaitForWindowExposed(&second));
        view->setFrame(solidFrame(QSize(200, 100), 150, 160, 100));
        const auto before = view->framesDrawn();
        QTRY_VERIFY(view->framesDrawn() > before);
        QVERIFY(close(drawn(*view).pixelColor(100, 50), bt601(150, 160, 100), 2));
    }

    void showsTheDemoCameraWithMotionInRed() {
        Defaults defaults(environment.settingsFilePath());
        SystemClock clock;
        Controller controller;
        CaptureManager manager(defaults, clock, controller,
                               cameras({std::make_shared<DemoCamera>(smallDemo())}));
        PreviewViewController preview(defaults);
        PreviewView& view = *preview.previewView();
        preview.resize(320, 180);  // the camera's size: pixels map one to one
        preview.show();
        QVERIFY(QTest::qWaitForWindowExposed(&preview));
        QVERIFY(view.usesOpenGL());
        manager.setPreviewDelegate(&preview);
        manager.setUp();
        manager.setPreviewOpen(true);
        QTRY_VERIFY_WITH_TIMEOUT(view.framesDrawn() > 5, patience);
        preview.resize(320, 180);
        QTRY_COMPARE(view.pictureRect(), QRectF(0, 0, 320, 180));

        QTest::qWait(100);
        verifyTheDemoSceneIsDrawn([&] { return drawn(view); });
        if (QTest::currentTestFailed()) {
            return;
        }
        manager.setPreviewOpen(false);
        manager.setPreviewDelegate(nullptr);
    }

    // The window as a user sees it: the OpenGL picture with the zone editor
    // laid over it, two zones, the second selected, while the object crosses.
    void pictureOfThePreviewWithZones() {
        Defaults defaults(environment.settingsFilePath());
        SystemClock clock;
        Controller recording;
        CaptureManager manager(defaults, clock, recording,
                               cameras({std::make_shared<DemoCamera>()}));
        manager.setUp();
        PreviewWindowController preview(manager, defaults);
        preview.show();
        QVERIFY(QTest::qWaitForWindowExposed(preview.window()));
        QVERIFY(preview.viewController()->previewView()->usesOpenGL());
        auto* editor = preview.viewController()->zoneEditor();
        editor->clearZones();
        QTRY_VERIFY_WITH_TIMEOUT(!editor->pictureRect().isEmpty(), patience);
        preview.window()->resize(800, 450);
        QTRY_COMPARE(preview.window()->size(), QSize(800, 450));
        dragOn(editor, {0.06, 0.2}, {0.42, 0.85});
        dragOn(editor, {0.55, 0.3}, {0.93, 0.8});
        QCOMPARE(editor->zones().size(), 2u);
        QCOMPARE(editor->selected(), std::optional(1));
        // Waits for the object to be well inside the picture: both its edges
        // red, more than its width apart.
        QImage image;
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                image = preview.window()->grab().toImage();
                int first = image.width();
                int last = -1;
                for (int y = 150; y < 300; y += 3) {
                    for (int x = 200; x < 600; ++x) {
                        if (isRed(image.pixelColor(x, y))) {
                            first = std::min(first, x);
                            last = std::max(last, x);
                        }
                    }
                }
                return last - first > 80;
            }(),
            patience);
        // The editor's outlines lie over the OpenGL picture: the selected zone's yellow.
        int yellow = 0;
        for (int x = 0; x < image.width(); ++x) {
            const QColor c = image.pixelColor(x, qRound(0.3 * 450));
            yellow += c.red() > 230 && c.green() > 180 && c.green() < 230 && c.blue() < 40;
        }
        QVERIFY2(yellow > 100, qPrintable(QString::number(yellow)));
        DocsImages::save(image, QStringLiteral("preview-zones.png"));
        editor->clearZones();
    }
};

// The test's own X server, started before the application connects to it.
int main(int argc, char** argv) {
    VirtualDisplay display;
    if (!display.start()) {
        qCritical("Could not start Xvfb");
        return 1;
    }
    qputenv("DISPLAY", display.name().toLocal8Bit());
    qputenv("QT_QPA_PLATFORM", "xcb");
    if (!qEnvironmentVariableIsSet("NELVO_PREVIEW_OPENGL")) {
        qputenv("NELVO_PREVIEW_OPENGL", "1");
    }
    QApplication app(argc, argv);
    tst_PreviewGLView test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_PreviewGLView.moc"
