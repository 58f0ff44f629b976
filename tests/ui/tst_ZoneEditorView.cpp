#include "Defaults.h"
#include "DetectionZones.h"
#include "TestEnvironment.h"
#include "ZoneEditorGeometry.h"
#include "ZoneEditorView.h"

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QTest>
#include <memory>

namespace {

// The picture lies inside the editor with a margin, as in the preview window.
const QRectF picture(20, 10, 360, 270);

QPoint at(double x, double y) {
    return QPointF(picture.left() + x * picture.width(), picture.top() + y * picture.height())
        .toPoint();
}

bool near(const QRectF& a, const QRectF& b) {
    const double e = 0.006;  // a pixel of the picture is about 0.003
    return std::abs(a.x() - b.x()) < e && std::abs(a.y() - b.y()) < e &&
           std::abs(a.width() - b.width()) < e && std::abs(a.height() - b.height()) < e;
}

}  // namespace

class tst_ZoneEditorView : public QObject {
    Q_OBJECT

    TestEnvironment environment;
    std::unique_ptr<Defaults> defaults;
    std::unique_ptr<QWidget> backdrop;
    ZoneEditorView* editor = nullptr;
    QString cameraID;
    int cameraCount = 0;

    void drag(const QPoint& from, const QPoint& to) {
        QTest::mousePress(editor, Qt::LeftButton, {}, from);
        QTest::mouseMove(editor, (from + to) / 2);
        QTest::mouseMove(editor, to);
        QTest::mouseRelease(editor, Qt::LeftButton, {}, to);
    }
    void drawZone(double x, double y, double width, double height) {
        drag(at(x, y), at(x + width, y + height));
    }
    QImage grab() { return backdrop->grab().toImage(); }

private Q_SLOTS:
    void init() {
        defaults = std::make_unique<Defaults>(environment.settingsFilePath());
        // A plain grey picture under the editor, so dimming can be measured.
        backdrop = std::make_unique<QWidget>();
        backdrop->resize(400, 300);
        backdrop->setAutoFillBackground(true);
        QPalette palette;
        palette.setColor(QPalette::Window, QColor(200, 200, 200));
        backdrop->setPalette(palette);
        editor = new ZoneEditorView(*defaults, backdrop.get());
        editor->resize(400, 300);
        // Each test its own camera: the detection cache is process-wide.
        cameraID = QStringLiteral("camera-%1").arg(++cameraCount);
        editor->setCameraID(cameraID);
        editor->setPictureRect(picture);
        backdrop->show();
        QVERIFY(QTest::qWaitForWindowExposed(backdrop.get()));
    }
    void cleanup() {
        backdrop.reset();
        defaults.reset();
    }

    void pointConversion() {
        using namespace ZoneEditorGeometry;
        QCOMPARE(normalised(picture, QPointF(20, 10)), QPointF(0, 0));
        QCOMPARE(normalised(picture, QPointF(200, 145)), QPointF(0.5, 0.5));
        QCOMPARE(normalised(picture, QPointF(380, 280)), QPointF(1, 1));
        QVERIFY(!normalised(picture, QPointF(19, 100)));
        QVERIFY(!normalised(picture, QPointF(100, 281)));
        QVERIFY(!normalised(QRectF(), QPointF(0, 0)));
        QCOMPARE(viewRect(picture, QRectF(0.5, 0.25, 0.25, 0.5)), QRectF(200, 77.5, 90, 135));
    }

    void drawingAddsSelectedZoneAndSavesIt() {
        drawZone(0.1, 0.2, 0.4, 0.3);
        QCOMPARE(editor->zones().size(), 1u);
        QVERIFY(near(editor->zones()[0], QRectF(0.1, 0.2, 0.4, 0.3)));
        QCOMPARE(editor->selected(), std::optional<int>(0));
        QVERIFY(std::holds_alternative<std::monostate>(editor->drag()));
        // Stored for the camera, and what detection reads at its next frame.
        QCOMPARE(DetectionZones::storedZones(cameraID, *defaults), editor->zones());
        QCOMPARE(*DetectionZones::zones(cameraID, *defaults), editor->zones());
    }

    void drawingUpwardsGivesTheSameZone() {
        drag(at(0.6, 0.7), at(0.2, 0.1));
        QCOMPARE(editor->zones().size(), 1u);
        QVERIFY(near(editor->zones()[0], QRectF(0.2, 0.1, 0.4, 0.6)));
    }

    void zoneBelowTheMinimumIsDiscarded() {
        drawZone(0.1, 0.1, 0.015, 0.5);  // narrow
        drawZone(0.1, 0.1, 0.5, 0.015);  // short
        QVERIFY(editor->zones().empty());
        QVERIFY(!editor->selected());
        QVERIFY(!defaults->hasStoredValue(QStringLiteral("detectionZones.") + cameraID));
        drawZone(0.1, 0.1, 0.03, 0.03);
        QCOMPARE(editor->zones().size(), 1u);
    }

    void dragEndingOutsideThePictureAddsNothing() {
        drag(at(0.5, 0.5), QPoint(395, 290));
        QVERIFY(editor->zones().empty());
        QVERIFY(!defaults->hasStoredValue(QStringLiteral("detectionZones.") + cameraID));
        QVERIFY(editor->hint()->isVisible());
    }

    void pressOutsideThePictureStartsNothing() {
        QTest::mousePress(editor, Qt::LeftButton, {}, QPoint(5, 5));
        QVERIFY(std::holds_alternative<std::monostate>(editor->drag()));
        QTest::mouseRelease(editor, Qt::LeftButton, {}, QPoint(5, 5));
    }

    void withoutCameraTheMouseIsIgnored() {
        editor->setCameraID(std::nullopt);
        drawZone(0.1, 0.1, 0.5, 0.5);
        QVERIFY(editor->zones().empty());
    }

    void clickWhereZonesOverlapSelectsTheLastDrawn() {
        drawZone(0.1, 0.1, 0.4, 0.4);
        // Started outside the first zone (a press on a zone moves it).
        drag(at(0.7, 0.7), at(0.3, 0.3));
        QCOMPARE(editor->zones().size(), 2u);
        QTest::mouseClick(editor, Qt::LeftButton, {}, at(0.4, 0.4));
        QCOMPARE(editor->selected(), std::optional<int>(1));
        QTest::mouseClick(editor, Qt::LeftButton, {}, at(0.2, 0.2));
        QCOMPARE(editor->selected(), std::optional<int>(0));
        // A click on neither clears the selection and adds nothing.
        QTest::mouseClick(editor, Qt::LeftButton, {}, at(0.9, 0.1));
        QVERIFY(!editor->selected());
        QCOMPARE(editor->zones().size(), 2u);
    }

    void movingShiftsTheZoneAndSavesIt() {
        drawZone(0.1, 0.1, 0.2, 0.2);
        drag(at(0.2, 0.2), at(0.4, 0.3));
        QVERIFY(near(editor->zones()[0], QRectF(0.3, 0.2, 0.2, 0.2)));
        QCOMPARE(editor->selected(), std::optional<int>(0));
        QCOMPARE(DetectionZones::storedZones(cameraID, *defaults), editor->zones());
        QCOMPARE(*DetectionZones::zones(cameraID, *defaults), editor->zones());
    }

    void movingStaysInsideThePicture() {
        drawZone(0.5, 0.5, 0.3, 0.2);
        drag(at(0.6, 0.6), at(0.999, 0.999));
        QCOMPARE(editor->zones()[0].right(), 1.0);
        QCOMPARE(editor->zones()[0].bottom(), 1.0);
        QVERIFY(near(editor->zones()[0], QRectF(0.7, 0.8, 0.3, 0.2)));
        drag(at(0.8, 0.9), at(0.0, 0.0));
        QCOMPARE(editor->zones()[0].topLeft(), QPointF(0, 0));
        QVERIFY(near(editor->zones()[0], QRectF(0, 0, 0.3, 0.2)));
    }

    void moveClampArithmetic() {
        using ZoneEditorGeometry::moved;
        QCOMPARE(moved(QRectF(0.5, 0.5, 0.2, 0.2), QPointF(0.5, -0.9)), QRectF(0.8, 0, 0.2, 0.2));
        QCOMPARE(moved(QRectF(0.1, 0.1, 0.2, 0.2), QPointF(0.1, 0.1)), QRectF(0.2, 0.2, 0.2, 0.2));
        QCOMPARE(moved(QRectF(0, 0, 1, 1), QPointF(0.3, 0.3)), QRectF(0, 0, 1, 1));
    }

    void escapeDeselectsWithoutDeleting() {
        drawZone(0.1, 0.1, 0.3, 0.3);
        QCOMPARE(editor->selected(), std::optional<int>(0));
        QVERIFY(editor->hasFocus());
        QTest::keyClick(editor, Qt::Key_Escape);
        QVERIFY(!editor->selected());
        QCOMPARE(editor->zones().size(), 1u);
    }

    void deleteWithNothingSelectedDoesNothing() {
        drawZone(0.1, 0.1, 0.3, 0.3);
        QTest::keyClick(editor, Qt::Key_Escape);
        QTest::keyClick(editor, Qt::Key_Delete);
        QTest::keyClick(editor, Qt::Key_Backspace);
        QCOMPARE(editor->zones().size(), 1u);
        QCOMPARE(DetectionZones::storedZones(cameraID, *defaults).size(), 1u);
    }

    void deleteAndBackspaceRemoveTheSelectedZone() {
        drawZone(0.1, 0.1, 0.3, 0.3);
        drawZone(0.5, 0.5, 0.3, 0.3);
        QTest::keyClick(editor, Qt::Key_Delete);
        QCOMPARE(editor->zones().size(), 1u);
        QVERIFY(near(editor->zones()[0], QRectF(0.1, 0.1, 0.3, 0.3)));
        QVERIFY(!editor->selected());
        QTest::mouseClick(editor, Qt::LeftButton, {}, at(0.2, 0.2));
        QTest::keyClick(editor, Qt::Key_Backspace);
        QVERIFY(editor->zones().empty());
        QVERIFY(DetectionZones::storedZones(cameraID, *defaults).empty());
        QVERIFY(DetectionZones::zones(cameraID, *defaults)->empty());
    }

    void otherKeysGoToTheParent() {
        QKeyEvent key(QEvent::KeyPress, Qt::Key_A, Qt::NoModifier, QStringLiteral("a"));
        QApplication::sendEvent(editor, &key);
        QVERIFY(!key.isAccepted());
        QKeyEvent escape(QEvent::KeyPress, Qt::Key_Escape, Qt::NoModifier);
        QApplication::sendEvent(editor, &escape);
        QVERIFY(escape.isAccepted());
    }

    void hintGivesWayToTheClearButton() {
        QVERIFY(editor->hint()->isVisible());
        QVERIFY(!editor->clearButton()->isVisible());
        QCOMPARE(editor->hint()->text(),
                 QStringLiteral("Drag to draw a zone. With none drawn, the whole frame is used."));
        // Centred on the picture, 8 points above its bottom edge.
        const QRect hint = editor->hint()->geometry();
        QVERIFY(std::abs(hint.center().x() - picture.center().x()) <= 1);
        QVERIFY(std::abs(hint.bottom() + 1 - (picture.bottom() - 8)) <= 1);
        QVERIFY(hint.width() <= picture.width() - 28 + 12);

        drawZone(0.1, 0.1, 0.3, 0.3);
        QVERIFY(!editor->hint()->isVisible());
        QVERIFY(editor->clearButton()->isVisible());
        QCOMPARE(editor->clearButton()->text(), QStringLiteral("Clear zones"));
        const QRect button = editor->clearButton()->geometry();
        QVERIFY(std::abs(button.right() + 1 - (picture.right() - 8)) <= 1);
        QVERIFY(std::abs(button.top() - (picture.top() + 8)) <= 1);
    }

    void clearZonesRemovesEveryZone() {
        drawZone(0.1, 0.1, 0.3, 0.3);
        drawZone(0.5, 0.5, 0.3, 0.3);
        QTest::mouseClick(editor->clearButton(), Qt::LeftButton);
        QVERIFY(editor->zones().empty());
        QVERIFY(!editor->selected());
        QVERIFY(DetectionZones::storedZones(cameraID, *defaults).empty());
        QVERIFY(DetectionZones::zones(cameraID, *defaults)->empty());
        QVERIFY(editor->hint()->isVisible());
        QVERIFY(!editor->clearButton()->isVisible());
    }

    void withoutPictureNeitherHintNorButton() {
        editor->setPictureRect(QRectF());
        QVERIFY(!editor->hint()->isVisible());
        QVERIFY(!editor->clearButton()->isVisible());
        drawZone(0.1, 0.1, 0.3, 0.3);
        QVERIFY(editor->zones().empty());
    }

    void storedZonesAreLoadedForTheCamera() {
        const DetectionZones::Rects rects{QRectF(0.1, 0.2, 0.3, 0.4)};
        DetectionZones::save(QStringLiteral("stored-camera"), *defaults, rects);
        editor->setCameraID(QStringLiteral("stored-camera"));
        QCOMPARE(editor->zones(), rects);
        QVERIFY(!editor->hint()->isVisible());
    }

    void drawsDimmingAndOutlines() {
        drawZone(0.1, 0.1, 0.3, 0.3);
        drawZone(0.5, 0.5, 0.3, 0.3);
        QTest::mouseClick(editor, Qt::LeftButton, {}, at(0.2, 0.2));
        QCOMPARE(editor->selected(), std::optional<int>(0));
        const QImage image = grab();
        // Outside the zones: 45 % black over the grey; inside: untouched.
        const QColor outside = image.pixelColor(at(0.45, 0.2));
        QVERIFY2(std::abs(outside.red() - 110) <= 2, qPrintable(outside.name()));
        QCOMPARE(image.pixelColor(at(0.25, 0.25)), QColor(200, 200, 200));
        QCOMPARE(image.pixelColor(at(0.65, 0.65)), QColor(200, 200, 200));
        // The selected zone in yellow, the other in white, 1 point inside the edge.
        const QRectF first = ZoneEditorGeometry::viewRect(picture, editor->zones()[0]);
        const QRectF second = ZoneEditorGeometry::viewRect(picture, editor->zones()[1]);
        const QColor yellow =
            image.pixelColor(QPointF(first.left() + 1, first.center().y()).toPoint());
        QVERIFY2(yellow.red() > 240 && yellow.green() > 180 && yellow.blue() < 40,
                 qPrintable(yellow.name()));
        QCOMPARE(image.pixelColor(QPointF(second.left() + 1, second.center().y()).toPoint()),
                 QColor(Qt::white));
    }

    void drawingShowsADashedOutline() {
        QTest::mousePress(editor, Qt::LeftButton, {}, at(0.1, 0.1));
        QTest::mouseMove(editor, at(0.9, 0.9));
        QVERIFY(std::holds_alternative<ZoneEditorView::Drawing>(editor->drag()));
        const QImage image = grab();
        // Along the top edge: white dashes with grey gaps between them.
        const int y = at(0.1, 0.1).y();
        int white = 0;
        int grey = 0;
        for (int x = at(0.2, 0).x(); x < at(0.8, 0).x(); ++x) {
            const QColor c = image.pixelColor(x, y);
            white += c == QColor(Qt::white);
            grey += c == QColor(200, 200, 200);
        }
        QVERIFY2(white > 20 && grey > 20, qPrintable(QStringLiteral("%1 %2").arg(white).arg(grey)));
        QTest::mouseRelease(editor, Qt::LeftButton, {}, at(0.9, 0.9));
    }
};

QTEST_MAIN(tst_ZoneEditorView)
#include "tst_ZoneEditorView.moc"
