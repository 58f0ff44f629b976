#include "AboutWindow.h"
#include "PopoverMenu.h"
#include "Translations.h"

#include <QAction>
#include <QTest>

namespace {

// Every operation counts its calls; the state is what the test sets.
struct Calls {
    PopoverMenu::State state;
    int states = 0;
    QStringList called;
};

PopoverMenu::Operations everyOperation(Calls& calls) {
    const auto recorder = [&calls](const QString& name) {
        return [&calls, name] { calls.called.append(name); };
    };
    PopoverMenu::Operations operations;
    operations.state = [&calls] {
        ++calls.states;
        return calls.state;
    };
    operations.showRecordings = recorder(QStringLiteral("showRecordings"));
    operations.showWhatHappened = recorder(QStringLiteral("showWhatHappened"));
    operations.makeTimeLapse = recorder(QStringLiteral("makeTimeLapse"));
    operations.recordTest = recorder(QStringLiteral("recordTest"));
    operations.showPreferences = recorder(QStringLiteral("showPreferences"));
    operations.quitApp = recorder(QStringLiteral("quitApp"));
    return operations;
}

// Opens the menu as the user does, so it validates itself, then closes it.
void openAndClose(PopoverMenu& menu) {
    menu.popup(QPoint(10, 10));
    QTRY_VERIFY(menu.isVisible());
    menu.hide();
}

}  // namespace

class tst_PopoverMenu : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Translations::install(*QCoreApplication::instance()); }

    void itemsInOrderWithTheirTitles() {
        Calls calls;
        PopoverMenu menu(everyOperation(calls));
        QCOMPARE(menu.title(), QStringLiteral("Nelvo"));
        QStringList titles;
        for (const QAction* action : menu.actions()) {
            titles.append(action->isSeparator() ? QStringLiteral("-") : action->text());
            QVERIFY(action->shortcut().isEmpty());
        }
        QCOMPARE(titles, (QStringList{"Show Recordings", "Show What Happened", "Make a Time-lapse",
                                      "Record a Test", "Preferences…", "About", "-", "Quit"}));
        QCOMPARE(menu.actions().first(), menu.showRecordingsMenuItem());
        QCOMPARE(menu.actions().last(), menu.quitAppMenuItem());
    }

    void recordATestFollowsTheArmedState_data() {
        QTest::addColumn<int>("state");
        QTest::addColumn<bool>("canArm");
        QTest::addColumn<bool>("testing");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("armed") << int(ArmState::armed) << true << false << true;
        QTest::newRow("armed, nothing could arm") << int(ArmState::armed) << false << false << true;
        QTest::newRow("unarmed and can arm") << int(ArmState::unarmed) << true << false << true;
        QTest::newRow("unarmed and cannot arm")
            << int(ArmState::unarmed) << false << false << false;
        QTest::newRow("arming") << int(ArmState::arming) << true << false << false;
        QTest::newRow("recording") << int(ArmState::recording) << true << false << false;
        for (const ArmState state :
             {ArmState::unarmed, ArmState::arming, ArmState::armed, ArmState::recording}) {
            QTest::addRow("test running, state %d", int(state))
                << int(state) << true << true << false;
        }
    }
    void recordATestFollowsTheArmedState() {
        QFETCH(int, state);
        QFETCH(bool, canArm);
        QFETCH(bool, testing);
        QFETCH(bool, enabled);
        Calls calls;
        PopoverMenu menu(everyOperation(calls));
        calls.state = {ArmState(state), testing, canArm, std::nullopt};
        openAndClose(menu);
        QCOMPARE(menu.recordTestMenuItem()->isEnabled(), enabled);
        QCOMPARE(PopoverMenu::recordTestEnabled(calls.state), enabled);
    }

    void eachOpeningReadsTheStateAfresh() {
        Calls calls;
        PopoverMenu menu(everyOperation(calls));
        calls.state.armedState = ArmState::armed;
        openAndClose(menu);
        QVERIFY(menu.recordTestMenuItem()->isEnabled());
        const int before = calls.states;
        calls.state.armedState = ArmState::recording;
        openAndClose(menu);
        QCOMPARE(calls.states, before + 1);
        QVERIFY(!menu.recordTestMenuItem()->isEnabled());
    }

    void withoutAStretchTheStretchItemsHavePlainTitles() {
        Calls calls;
        PopoverMenu menu(everyOperation(calls));
        openAndClose(menu);
        QCOMPARE(menu.showWhatHappenedMenuItem()->text(), QStringLiteral("Show What Happened"));
        QCOMPARE(menu.makeTimeLapseMenuItem()->text(), QStringLiteral("Make a Time-lapse"));
        QVERIFY(!menu.showWhatHappenedMenuItem()->isEnabled());
        QVERIFY(!menu.makeTimeLapseMenuItem()->isEnabled());
    }

    void theStretchItemsCarryTheStretchsTimes() {
        Calls calls;
        PopoverMenu menu(everyOperation(calls));
        calls.state.stretchTimes = QStringLiteral("22:14 to 05:02");
        openAndClose(menu);
        QCOMPARE(menu.showWhatHappenedMenuItem()->text(),
                 QStringLiteral("Show What Happened (22:14 to 05:02)"));
        QCOMPARE(menu.makeTimeLapseMenuItem()->text(),
                 QStringLiteral("Make a Time-lapse (22:14 to 05:02)"));
        QVERIFY(menu.showWhatHappenedMenuItem()->isEnabled());
        QVERIFY(menu.makeTimeLapseMenuItem()->isEnabled());

        calls.state.stretchTimes.reset();
        openAndClose(menu);
        QCOMPARE(menu.showWhatHappenedMenuItem()->text(), QStringLiteral("Show What Happened"));
    }

    void otherItemsAreAlwaysEnabled() {
        Calls calls;
        PopoverMenu menu(everyOperation(calls));
        for (const ArmState state :
             {ArmState::unarmed, ArmState::arming, ArmState::armed, ArmState::recording}) {
            calls.state = {state, true, false, std::nullopt};
            openAndClose(menu);
            for (const QAction* item : {menu.showRecordingsMenuItem(), menu.showPrefsMenuItem(),
                                        menu.showAboutMenuItem(), menu.quitAppMenuItem()}) {
                QVERIFY2(item->isEnabled(), qPrintable(item->text()));
            }
        }
    }

    void itemsCallTheirOperations() {
        Calls calls;
        PopoverMenu menu(everyOperation(calls));
        calls.state = {ArmState::armed, false, true, QStringLiteral("10:00 to 11:00")};
        openAndClose(menu);
        for (QAction* item : {menu.showRecordingsMenuItem(), menu.showWhatHappenedMenuItem(),
                              menu.makeTimeLapseMenuItem(), menu.recordTestMenuItem(),
                              menu.showPrefsMenuItem(), menu.quitAppMenuItem()}) {
            item->trigger();
        }
        QCOMPARE(calls.called, (QStringList{"showRecordings", "showWhatHappened", "makeTimeLapse",
                                            "recordTest", "showPreferences", "quitApp"}));
    }

    // Items whose windows Nelvo does not have are there, but cannot be chosen.
    void itemsWithoutAnOperationAreDisabled() {
        Calls calls;
        PopoverMenu::Operations operations = everyOperation(calls);
        operations.showPreferences = nullptr;
        operations.makeTimeLapse = nullptr;
        PopoverMenu menu(std::move(operations));
        calls.state = {ArmState::armed, false, true, QStringLiteral("10:00 to 11:00")};
        openAndClose(menu);
        QVERIFY(!menu.showPrefsMenuItem()->isEnabled());
        QVERIFY(!menu.makeTimeLapseMenuItem()->isEnabled());
        QVERIFY(menu.showWhatHappenedMenuItem()->isEnabled());
        menu.showPrefsMenuItem()->trigger();
        menu.makeTimeLapseMenuItem()->trigger();
        QVERIFY(calls.called.isEmpty());
    }

    void aboutOpensOneWindowMadeOnFirstUse() {
        Calls calls;
        PopoverMenu menu(everyOperation(calls));
        QCOMPARE(menu.aboutWindow(), nullptr);
        menu.showAboutMenuItem()->trigger();
        AboutWindow* window = menu.aboutWindow();
        QVERIFY(window != nullptr);
        QTRY_VERIFY(window->isVisible());
        window->close();
        menu.showAboutMenuItem()->trigger();
        QCOMPARE(menu.aboutWindow(), window);
        QTRY_VERIFY(window->isVisible());
    }
};

QTEST_MAIN(tst_PopoverMenu)
#include "tst_PopoverMenu.moc"
