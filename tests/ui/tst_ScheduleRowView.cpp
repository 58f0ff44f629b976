#include "ScheduleRowView.h"

#include <QCheckBox>
#include <QLabel>
#include <QLocale>
#include <QTest>
#include <QTimeEdit>
#include <QToolButton>

namespace {

// A row with the closures' reports kept.
struct Row {
    std::vector<ScheduleWindow> changes;
    int removals = 0;
    ScheduleRowView view;

    Row(ScheduleWindow window, bool enabled)
        : view(
              std::move(window), enabled,
              [this](const ScheduleWindow& changed) { changes.push_back(changed); },
              [this] { ++removals; }) {}
};

int minutes(int hour, int minute) {
    return hour * 60 + minute;
}

}  // namespace

class tst_ScheduleRowView : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); }

    void daysRunSundayFirstWithTheLocalesNarrowNames() {
        Row row({{2, 7}, minutes(8, 0), minutes(9, 0)}, true);
        QCOMPARE(ScheduleRowView::dayTitle(1), QStringLiteral("S"));
        QCOMPARE(ScheduleRowView::dayTitle(2), QStringLiteral("M"));
        QCOMPARE(ScheduleRowView::dayTitle(7), QStringLiteral("S"));
        QList<QCheckBox*> boxes = row.view.findChildren<QCheckBox*>();
        QCOMPARE(boxes.size(), 7);
        for (int weekday = 1; weekday <= 7; ++weekday) {
            QCheckBox* box = row.view.dayButton(weekday);
            QCOMPARE(box->property("weekday").toInt(), weekday);
            QCOMPARE(box->text(),
                     QLocale().dayName(weekday == 1 ? 7 : weekday - 1, QLocale::NarrowFormat));
            QCOMPARE(box->isChecked(), weekday == 2 || weekday == 7);
        }
        // Left to right in that order, whatever the locale's first day.
        QLocale::setDefault(QLocale(QLocale::German, QLocale::Germany));
        Row german({{1}, minutes(8, 0), minutes(9, 0)}, true);
        german.view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&german.view));
        QCOMPARE(german.view.dayButton(1)->text(), QStringLiteral("S"));
        for (int weekday = 1; weekday < 7; ++weekday) {
            QVERIFY(german.view.dayButton(weekday)->x() < german.view.dayButton(weekday + 1)->x());
        }
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates));
    }

    void picksShowTheWindowsTimesInHoursAndMinutes() {
        Row row({{2}, minutes(22, 15), minutes(6, 30)}, true);
        QCOMPARE(row.view.startPicker()->time(), QTime(22, 15));
        QCOMPARE(row.view.endPicker()->time(), QTime(6, 30));
        QVERIFY(!row.view.startPicker()->displayFormat().contains(QLatin1Char('s')));
        QVERIFY(row.view.startPicker()->displayFormat().contains(QLatin1Char('m')));
    }

    void anEndBeforeTheStartShowsNextDay() {
        Row row({{2}, minutes(22, 0), minutes(6, 0)}, true);
        QCOMPARE(row.view.nextDayLabel()->text(), QStringLiteral("next day"));
        QVERIFY(!row.view.nextDayLabel()->isHidden());

        Row equal({{2}, minutes(22, 0), minutes(22, 0)}, true);
        QVERIFY(equal.view.nextDayLabel()->isHidden());

        // Editing the end past the start hides it, and back shows it.
        row.view.endPicker()->setTime(QTime(23, 0));
        QVERIFY(row.view.nextDayLabel()->isHidden());
        QCOMPARE(row.changes.back().end, minutes(23, 0));
        row.view.startPicker()->setTime(QTime(23, 30));
        QVERIFY(!row.view.nextDayLabel()->isHidden());
        QCOMPARE(row.changes.back(), (ScheduleWindow{{2}, minutes(23, 30), minutes(23, 0)}));
        row.view.startPicker()->setTime(QTime(23, 0));
        QVERIFY(row.view.nextDayLabel()->isHidden());
    }

    void typingATimeReportsIt() {
        Row row({{2}, minutes(8, 0), minutes(9, 0)}, true);
        row.view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&row.view));
        QTimeEdit* start = row.view.startPicker();
        start->setFocus();
        start->setSelectedSection(QDateTimeEdit::HourSection);
        QTest::keyClick(start, Qt::Key_Up);
        QCOMPARE(row.changes.back().start, minutes(9, 0));
        QVERIFY(row.view.nextDayLabel()->isHidden());
        QTest::keyClick(start, Qt::Key_Up);
        QCOMPARE(row.changes.back().start, minutes(10, 0));
        QVERIFY(!row.view.nextDayLabel()->isHidden());
    }

    void daysTurnOnAndOffAndEveryDayOffIsStillReported() {
        Row row({{2, 3}, minutes(8, 0), minutes(9, 0)}, true);
        row.view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&row.view));
        QTest::mouseClick(row.view.dayButton(4), Qt::LeftButton);
        QCOMPARE(row.changes.back().days, (std::set<int>{2, 3, 4}));
        QTest::mouseClick(row.view.dayButton(2), Qt::LeftButton);
        QTest::mouseClick(row.view.dayButton(3), Qt::LeftButton);
        QTest::mouseClick(row.view.dayButton(4), Qt::LeftButton);
        QCOMPARE(row.changes.size(), std::size_t(4));
        QVERIFY(row.changes.back().days.empty());
        QVERIFY(row.view.scheduleWindow().days.empty());
        QCOMPARE(row.changes.back().start, minutes(8, 0));
    }

    void theRemoveButtonReportsRemoval() {
        Row row({{2}, minutes(8, 0), minutes(9, 0)}, true);
        row.view.show();
        QVERIFY(QTest::qWaitForWindowExposed(&row.view));
        QToolButton* remove = row.view.removeButton();
        QVERIFY(!remove->icon().isNull());
        QCOMPARE(remove->toolButtonStyle(), Qt::ToolButtonIconOnly);
        QVERIFY(remove->text().isEmpty());
        QTest::mouseClick(remove, Qt::LeftButton);
        QCOMPARE(row.removals, 1);
        QVERIFY(row.changes.empty());
    }

    void aRowBuiltWhileTheScheduleIsOffIsDisabled() {
        Row row({{2}, minutes(22, 0), minutes(6, 0)}, false);
        for (QWidget* control : row.view.findChildren<QWidget*>()) {
            if (qobject_cast<QCheckBox*>(control) || qobject_cast<QTimeEdit*>(control) ||
                qobject_cast<QToolButton*>(control)) {
                QVERIFY2(!control->isEnabled(), qPrintable(control->metaObject()->className()));
            }
        }
        int checked = 0;
        for (int weekday = 1; weekday <= 7; ++weekday) {
            QVERIFY(!row.view.dayButton(weekday)->isEnabled());
            checked += row.view.dayButton(weekday)->isChecked();
        }
        QCOMPARE(checked, 1);
        QVERIFY(!row.view.startPicker()->isEnabled());
        QVERIFY(!row.view.endPicker()->isEnabled());
        QVERIFY(!row.view.removeButton()->isEnabled());

        Row enabled({{2}, minutes(22, 0), minutes(6, 0)}, true);
        QVERIFY(enabled.view.startPicker()->isEnabled());
        QVERIFY(enabled.view.dayButton(1)->isEnabled());
        QVERIFY(enabled.view.removeButton()->isEnabled());
    }
};

QTEST_MAIN(tst_ScheduleRowView)
#include "tst_ScheduleRowView.moc"
