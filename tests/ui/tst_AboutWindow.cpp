#include "AboutWindow.h"
#include "DocsImages.h"
#include "Translations.h"

#include <QRegularExpression>
#include <QTest>

class tst_AboutWindow : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Translations::install(*QCoreApplication::instance()); }

    void showsTheBuildsVersion() {
        const QString version = QStringLiteral(NELVO_VERSION);
        QVERIFY(
            QRegularExpression(QStringLiteral("^\\d+\\.\\d+\\.\\d+$")).match(version).hasMatch());
        AboutWindow window;
        QLabel* label = window.findChild<QLabel*>(QStringLiteral("versionLabel"));
        QVERIFY(label != nullptr);
        QCOMPARE(label, window.versionLabel());
        QCOMPARE(label->text(), QStringLiteral("Version ") + version);
    }

    void versionText() {
        QCOMPARE(AboutWindow::versionText(QStringLiteral("2.3.1")),
                 QStringLiteral("Version 2.3.1"));
        QCOMPARE(AboutWindow::versionText(QString()), QString());
    }

    void isAWindowOfItsOwn() {
        AboutWindow window;
        QVERIFY(window.isWindow());
        QCOMPARE(window.windowTitle(), QStringLiteral("About Nelvo"));
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        QVERIFY(window.versionLabel()->isVisible());
        QVERIFY(window.versionLabel()->width() >= window.versionLabel()->sizeHint().width());
    }

    void writesItsPicture() {
        AboutWindow window;
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
        DocsImages::save(window.grab().toImage(), QStringLiteral("about-window.png"));
    }
};

QTEST_MAIN(tst_AboutWindow)
#include "tst_AboutWindow.moc"
