#include "QuitAlert.h"

#include <QPushButton>
#include <QSignalSpy>
#include <QTest>

namespace {

QPushButton* button(QMessageBox* box, const QString& text) {
    for (QAbstractButton* candidate : box->buttons()) {
        if (candidate->text() == text) {
            return qobject_cast<QPushButton*>(candidate);
        }
    }
    return nullptr;
}

}  // namespace

class tst_QuitAlert : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void saysWhatIsHappeningAndOffersBothChoices() {
        QuitAlert alert;
        alert.show();
        QVERIFY(alert.isShown());
        QMessageBox* box = alert.messageBox();
        QCOMPARE(box->text(), QStringLiteral("Finishing the recording\u2026"));
        QCOMPARE(
            box->informativeText(),
            QStringLiteral("Nelvo is writing the last of what it recorded, then it will quit."));
        QCOMPARE(box->buttons().size(), 2);
        QVERIFY(button(box, QStringLiteral("Quit Now")) != nullptr);
        QVERIFY(button(box, QStringLiteral("Keep Recording")) != nullptr);
        // "Quit Now" comes first and is the default.
        QCOMPARE(box->buttons().first(), button(box, QStringLiteral("Quit Now")));
        QCOMPARE(box->defaultButton(), button(box, QStringLiteral("Quit Now")));
    }

    void enterQuits() {
        QuitAlert alert;
        QSignalSpy answered(&alert, &QuitAlert::answered);
        alert.show();
        QVERIFY(QTest::qWaitForWindowExposed(alert.messageBox()));
        QTest::keyClick(alert.messageBox(), Qt::Key_Return);
        QTRY_COMPARE(answered.size(), 1);
        QCOMPARE(answered.at(0).at(0).toBool(), true);
        QVERIFY(!alert.isShown());
    }

    void quitNowAnswersYes() {
        QuitAlert alert;
        QSignalSpy answered(&alert, &QuitAlert::answered);
        alert.show();
        button(alert.messageBox(), QStringLiteral("Quit Now"))->click();
        QTRY_COMPARE(answered.size(), 1);
        QCOMPARE(answered.at(0).at(0).toBool(), true);
        QVERIFY(!alert.isShown());
    }

    void keepRecordingAnswersNo() {
        QuitAlert alert;
        QSignalSpy answered(&alert, &QuitAlert::answered);
        alert.show();
        button(alert.messageBox(), QStringLiteral("Keep Recording"))->click();
        QTRY_COMPARE(answered.size(), 1);
        QCOMPARE(answered.at(0).at(0).toBool(), false);
    }

    void escapeKeepsRecording() {
        QuitAlert alert;
        QSignalSpy answered(&alert, &QuitAlert::answered);
        alert.show();
        QTest::keyClick(alert.messageBox(), Qt::Key_Escape);
        QTRY_COMPARE(answered.size(), 1);
        QCOMPARE(answered.at(0).at(0).toBool(), false);
    }

    void goingAwayByItselfAnswersNothing() {
        QuitAlert alert;
        QSignalSpy answered(&alert, &QuitAlert::answered);
        alert.show();
        alert.dismiss();
        QVERIFY(!alert.isShown());
        QTest::qWait(50);
        QCOMPARE(answered.size(), 0);
    }
};

QTEST_MAIN(tst_QuitAlert)
#include "tst_QuitAlert.moc"
