#include "CaptureManagerPreviewDelegate.h"
#include "GstHandle.h"
#include "PreviewTestBench.h"
#include "PreviewView.h"
#include "TestEnvironment.h"

#include <QSignalSpy>
#include <QTest>
#include <thread>

using namespace PreviewTestBench;

namespace {

// Hands the capture manager's pictures to the view, counting them.
class Forward : public CaptureManagerPreviewDelegate {
public:
    explicit Forward(PreviewView& view) : view_(view) {}
    void previewImage(int index, const QImage& image) override {
        if (index == 0) {
            ++delivered;
            view_.setImage(image);
        }
    }
    int delivered = 0;

private:
    PreviewView& view_;
};

QImage filled(QSize size, QColor color) {
    QImage image(size, QImage::Format_RGB32);
    image.fill(color);
    return image;
}

}  // namespace

class tst_PreviewView : public QObject {
    Q_OBJECT

    TestEnvironment environment;

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    void aspectFitCentresThePicture() {
        QCOMPARE(PreviewView::aspectFit(QSize(1280, 720), QRectF(0, 0, 640, 480)),
                 QRectF(0, 60, 640, 360));
        QCOMPARE(PreviewView::aspectFit(QSize(640, 480), QRectF(0, 0, 1280, 720)),
                 QRectF(160, 0, 960, 720));
        QCOMPARE(PreviewView::aspectFit(QSize(), QRectF(0, 0, 10, 10)), QRectF());
    }

    void newSizeRemakesTheBufferOnce() {
        PreviewView view;
        view.resize(400, 300);
        QCOMPARE(view.buffersMade(), 0);
        view.setImage(filled(QSize(320, 240), Qt::blue));
        view.setImage(filled(QSize(320, 240), Qt::green));
        view.setImage(filled(QSize(320, 240), Qt::red));
        QCOMPARE(view.buffersMade(), 1);
        view.setImage(filled(QSize(640, 360), Qt::red));
        QCOMPARE(view.buffersMade(), 2);
        for (int i = 0; i < 5; ++i) {
            view.setImage(filled(QSize(640, 360), Qt::blue));
        }
        QCOMPARE(view.buffersMade(), 2);
        QCOMPARE(view.framesReceived(), 9u);
        QCOMPARE(view.pictureSize(), QSize(640, 360));
    }

    void keepsNoHoldOnTheCallersPicture() {
        // The capture side's pool reuses a picture once nobody else holds it.
        PreviewView view;
        QImage image = filled(QSize(64, 48), Qt::blue);
        view.setImage(image);
        QVERIFY(image.isDetached());
    }

    void drawsThePictureAspectFitOnBlack() {
        PreviewView view;
        view.resize(400, 400);
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        QSignalSpy moved(&view, &PreviewView::pictureRectChanged);
        view.setImage(filled(QSize(200, 100), QColor(10, 200, 30)));
        QCOMPARE(view.pictureRect(), QRectF(0, 100, 400, 200));
        QCOMPARE(moved.count(), 1);
        const QImage image = view.grab().toImage();
        QCOMPARE(image.pixelColor(200, 200), QColor(10, 200, 30));
        QCOMPARE(image.pixelColor(200, 50), QColor(Qt::black));
        QCOMPARE(image.pixelColor(200, 350), QColor(Qt::black));
        QVERIFY(view.framesDrawn() >= 1);
        view.resize(200, 400);
        QCOMPARE(view.pictureRect(), QRectF(0, 150, 200, 100));
        QCOMPARE(moved.count(), 2);
    }

    void showsTheDemoCameraWithMotionInRed() {
        Defaults defaults(environment.settingsFilePath());
        SystemClock clock;
        Controller controller;
        CaptureManager manager(defaults, clock, controller,
                               cameras({std::make_shared<DemoCamera>(smallDemo())}));
        PreviewView view;
        view.resize(320, 180);  // the camera's size: pixels map one to one
        view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&view));
        Forward forward(view);
        manager.setPreviewDelegate(&forward);
        manager.setUp();
        manager.setPreviewOpen(true);
        QTRY_VERIFY_WITH_TIMEOUT(view.framesReceived() > 5, patience);
        QCOMPARE(view.pictureRect(), QRectF(0, 0, 320, 180));

        // The wall where no shape and no object lies, at its scene colour.
        const QImage still = view.grab().toImage();
        for (const QPoint p : {QPoint(60, 20), QPoint(300, 160), QPoint(100, 170)}) {
            const QColor expected = demoWall(p.x(), p.y(), 320, 180);
            QVERIFY2(close(still.pixelColor(p), expected, 10),
                     qPrintable(still.pixelColor(p).name() + " vs " + expected.name()));
        }

        // The object crosses from 5 s to 8 s of stream time, in the middle
        // half of the rows: moved pixels are red there and nowhere else.
        QImage crossing;
        QTRY_VERIFY_WITH_TIMEOUT(
            [&] {
                crossing = view.grab().toImage();
                int red = 0;
                for (int y = 0; y < 180; y += 2) {
                    for (int x = 0; x < 320; x += 2) {
                        red += isRed(crossing.pixelColor(x, y));
                    }
                }
                return red > 50;
            }(),
            patience);
        const int margin = 6;  // the blur's reach
        for (int y = 0; y < 180; ++y) {
            const bool band = y >= 45 - margin && y < 135 + margin;
            for (int x = 0; x < 320; ++x) {
                if (!band) {
                    QVERIFY2(!isRed(crossing.pixelColor(x, y)),
                             qPrintable(QStringLiteral("red at %1,%2").arg(x).arg(y)));
                }
            }
        }
        manager.setPreviewOpen(false);
        manager.setPreviewDelegate(nullptr);
    }

    void onlyTheNewestPictureIsHandedOver() {
        Defaults defaults(environment.settingsFilePath());
        SystemClock clock;
        Controller controller;
        auto options = smallDemo();
        options.crossings = false;
        CaptureManager manager(defaults, clock, controller,
                               cameras({std::make_shared<DemoCamera>(options)}));
        PreviewView view;
        Forward forward(view);
        manager.setPreviewDelegate(&forward);
        manager.setUp();
        manager.setPreviewOpen(true);
        QTRY_VERIFY_WITH_TIMEOUT(view.framesReceived() > 5, patience);
        // The main thread is busy for a second while about 30 pictures arrive:
        // afterwards it is handed the newest one, not all of them.
        QCoreApplication::processEvents();
        const int before = forward.delivered;
        std::this_thread::sleep_for(std::chrono::seconds(1));
        QCoreApplication::processEvents();
        QCOMPARE(forward.delivered - before, 1);
        // And pictures keep coming at the camera's pace.
        const int resumed = forward.delivered;
        QTest::qWait(1000);
        QVERIFY2(forward.delivered - resumed > 10, qPrintable(QString::number(forward.delivered)));
        manager.setPreviewOpen(false);
        manager.setPreviewDelegate(nullptr);
    }
};

QTEST_MAIN(tst_PreviewView)
#include "tst_PreviewView.moc"
