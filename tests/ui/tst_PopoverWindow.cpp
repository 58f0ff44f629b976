#include "PopoverWindow.h"

#include <QGuiApplication>
#include <QLabel>
#include <QScreen>
#include <QSignalSpy>
#include <QTest>
#include <QVBoxLayout>

namespace {

// A stand-in content of a fixed size with a pin of its own.
class Content : public QWidget {
public:
    Content() {
        setFixedSize(300, 200);
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(new QLabel(QStringLiteral("content"), this));
    }
    bool pinned = false;
};

const QRect screen(0, 0, 1280, 800);
const QSize size(300, 200);

}  // namespace

class tst_PopoverWindow : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void goesCentredUnderAnIconAtTheTop() {
        const QRect icon(600, 0, 24, 24);
        QCOMPARE(PopoverWindow::position(icon, {5, 5}, size, screen), QPoint(461, 28));
    }

    void goesAboveAnIconAtTheBottom() {
        const QRect icon(600, 776, 24, 24);
        QCOMPARE(PopoverWindow::position(icon, {5, 5}, size, screen), QPoint(461, 572));
    }

    void goesToThePointerWhenTheIconsPlaceIsUnknown() {
        QCOMPARE(PopoverWindow::position({}, {640, 10}, size, screen), QPoint(490, 14));
        QCOMPARE(PopoverWindow::position({}, {640, 790}, size, screen), QPoint(490, 586));
    }

    void staysOnScreenAtTheCorners() {
        QCOMPARE(PopoverWindow::position(QRect(1270, 0, 10, 10), {}, size, screen),
                 QPoint(980, 14));
        QCOMPARE(PopoverWindow::position({}, {0, 799}, size, screen), QPoint(0, 595));
        const QRect offset(1280, 30, 1024, 738);  // a second screen below a top panel
        QCOMPARE(PopoverWindow::position({}, {1285, 31}, size, offset), QPoint(1280, 35));
    }

    void aWindowLargerThanTheScreenKeepsItsStartOnIt() {
        QCOMPARE(PopoverWindow::position({}, {640, 10}, QSize(2000, 900), screen), QPoint(0, 0));
    }

    void aClickOutsideClosesThePopupAndOneInsideDoesNot() {
        auto* content = new Content;
        PopoverWindow window(content, PopoverWindow::Placement::underIcon,
                             [content] { return !content->pinned; });
        QSignalSpy shown(&window, &PopoverWindow::didShow);
        QSignalSpy closed(&window, &PopoverWindow::didClose);
        window.showPopover(QRect(600, 0, 24, 24));
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QCOMPARE(shown.size(), 1);
        QCOMPARE(window.windowType(), Qt::Popup);

        QTest::mouseClick(&window, Qt::LeftButton, {}, QPoint(20, 20));
        QVERIFY(window.isVisible());
        QCOMPARE(closed.size(), 0);

        QTest::mousePress(&window, Qt::LeftButton, {}, QPoint(-30, -30));
        QTRY_VERIFY(!window.isVisible());
        QCOMPARE(closed.size(), 1);
    }

    void aPinnedPopoverStaysOnOutsideClicksAndTheIconsClick() {
        auto* content = new Content;
        PopoverWindow window(content, PopoverWindow::Placement::underIcon,
                             [content] { return !content->pinned; });
        window.showPopover();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        content->pinned = true;
        window.setPinned(true);
        QVERIFY(window.isVisible());
        // Pinned it lets go of the pointer and floats above other windows.
        QCOMPARE(window.windowType(), Qt::Tool);
        QVERIFY(window.windowFlags().testFlag(Qt::WindowStaysOnTopHint));

        QTest::mousePress(&window, Qt::LeftButton, {}, QPoint(-30, -30));
        QVERIFY(window.isVisible());
        QVERIFY(!window.closePopover());
        window.toggle();
        QVERIFY(window.isVisible());

        // Unpinned, closing works again.
        content->pinned = false;
        window.setPinned(false);
        QVERIFY(window.isVisible());
        QCOMPARE(window.windowType(), Qt::Popup);
        QVERIFY(window.closePopover());
        QVERIFY(!window.isVisible());
    }

    void theIconsClickTogglesTheWindow() {
        PopoverWindow window(new Content, PopoverWindow::Placement::underIcon, [] { return true; });
        QSignalSpy shown(&window, &PopoverWindow::didShow);
        QSignalSpy closed(&window, &PopoverWindow::didClose);
        window.toggle(QRect(10, 0, 24, 24));
        QVERIFY(window.isVisible());
        window.toggle(QRect(10, 0, 24, 24));
        QVERIFY(!window.isVisible());
        window.toggle(QRect(10, 0, 24, 24));
        QVERIFY(window.isVisible());
        QCOMPARE(shown.size(), 2);
        QCOMPARE(closed.size(), 1);
    }

    void showingAnOpenWindowAgainIsNoNewShow() {
        PopoverWindow window(new Content, PopoverWindow::Placement::standalone,
                             [] { return true; });
        QSignalSpy shown(&window, &PopoverWindow::didShow);
        window.showPopover();
        window.showPopover();
        QCOMPARE(shown.size(), 1);
    }

    void whereTheCompositorPlacesItAnotherWindowTakingTheFocusClosesIt() {
        auto* content = new Content;
        PopoverWindow window(content, PopoverWindow::Placement::byCompositor,
                             [content] { return !content->pinned; });
        QCOMPARE(window.windowType(), Qt::Window);
        window.showPopover();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QWidget other;
        other.show();
        other.activateWindow();
        QTRY_VERIFY(!window.isVisible());

        // Pinned, it stays.
        content->pinned = true;
        window.showPopover();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        other.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        QVERIFY(window.isVisible());
    }

    void theStandaloneWindowStaysWhenAnotherWindowIsUsed() {
        PopoverWindow window(new Content, PopoverWindow::Placement::standalone,
                             [] { return true; });
        window.showPopover();
        QVERIFY(QTest::qWaitForWindowActive(&window));
        QWidget other;
        other.show();
        other.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        QVERIFY(window.isVisible());
        QCOMPARE(window.windowTitle(), QStringLiteral("Nelvo"));
    }

    void theHintShowsAboveTheContent() {
        auto* content = new Content;
        PopoverWindow window(content, PopoverWindow::Placement::standalone, [] { return true; });
        window.setHint(QStringLiteral("Add a tray"));
        window.showPopover();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        auto* hint = window.findChild<QLabel*>(QStringLiteral("trayHint"));
        QVERIFY(hint != nullptr);
        QCOMPARE(hint->text(), QStringLiteral("Add a tray"));
        QVERIFY(hint->isVisible());
        QVERIFY(hint->geometry().bottom() <= content->geometry().top());
        QVERIFY2(window.height() >= content->height() + hint->height(),
                 qPrintable(QStringLiteral("%1 %2 %3")
                                .arg(window.height())
                                .arg(content->height())
                                .arg(hint->height())));
    }

    // Under an icon on a bottom panel the window grows upwards: content that
    // grows after the window is shown (a notice arriving) never pushes it
    // over the panel.
    void growingAfterShowStaysAboveABottomPanel() {
        auto* content = new Content;
        PopoverWindow window(content, PopoverWindow::Placement::underIcon, [] { return true; });
        const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
        const QRect icon(screen.center().x(), screen.bottom() - 23, 24, 24);
        window.showPopover(icon);
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        const int bottom = icon.top() - 5;  // the gap above the icon
        QCOMPARE(window.geometry().bottom(), bottom);

        content->setFixedSize(300, 320);
        QTRY_VERIFY(window.height() >= 320);
        QCOMPARE(window.geometry().bottom(), bottom);
        QVERIFY(std::abs(window.geometry().center().x() - icon.center().x()) <= 1);

        content->setFixedSize(300, 150);
        QTRY_VERIFY(window.height() < 200);
        QCOMPARE(window.geometry().bottom(), bottom);
    }

    // A window minimised is a popover closed, and back on screen it is
    // shown again: what runs only for an open popover follows.
    void minimisingIsClosingAndRestoringIsShowing() {
        PopoverWindow window(new Content, PopoverWindow::Placement::standalone,
                             [] { return true; });
        QSignalSpy shown(&window, &PopoverWindow::didShow);
        QSignalSpy closed(&window, &PopoverWindow::didClose);
        window.showPopover();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QCOMPARE(shown.size(), 1);
        window.showMinimized();
        QTRY_COMPARE(closed.size(), 1);
        window.showNormal();
        QTRY_COMPARE(shown.size(), 2);
        window.close();
        QCOMPARE(closed.size(), 2);
        QCOMPARE(shown.size(), 2);
    }
};

QTEST_MAIN(tst_PopoverWindow)
#include "tst_PopoverWindow.moc"
