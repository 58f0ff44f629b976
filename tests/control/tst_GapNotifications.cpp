#include "Defaults.h"
#include "DesktopNotifications.h"
#include "GapNotifications.h"
#include "LaunchDefaults.h"
#include "ManualClock.h"
#include "PrivateBus.h"
#include "RecordingManager.h"
#include "TestEnvironment.h"

#include <QTest>

using namespace std::chrono_literals;

namespace {
const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
QDateTime at(int hour, int minute, int day = 1) {
    return QDateTime(QDate(2024, 1, day), QTime(hour, minute));
}
QString shortTime(int hour, int minute) {
    return QLocale().toString(QTime(hour, minute), QLocale::ShortFormat);
}
}  // namespace

// The two gap notifications as a notification daemon mock receives them.
class tst_GapNotifications : public QObject {
    Q_OBJECT

private:
    TestEnvironment environment_;
    PrivateBus bus_;

    // (replaces_id, summary, body) of every Notify call so far.
    QList<QVariantList> notifyCalls() {
        QList<QVariantList> calls;
        for (const auto& [method, arguments] : bus_.mockCalls(service, path)) {
            if (method == u"Notify") {
                calls.append({arguments.value(1).toUInt(), arguments.value(3), arguments.value(4)});
            }
        }
        return calls;
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(bus_.isRunning());
        QVERIFY(bus_.startTemplate(QStringLiteral("notification_daemon"), service));
    }

    void crashAndSleepGapsAreNotified() {
        ManualClock clock(at(10, 0));
        {  // A run killed while armed, last heartbeat at 10:41.
            Defaults defaults(environment_.settingsFilePath());
            LaunchDefaults::registerDefaults(defaults);
            RecordingManager manager(defaults, clock);
            manager.setCameraAvailable(true);
            manager.devicesChanged();
            manager.armFromPopover();
            clock.advance(41min + 30s);
        }
        clock.setNow(at(11, 5));
        Defaults defaults(environment_.settingsFilePath());
        LaunchDefaults::registerDefaults(defaults);
        RecordingManager manager(defaults, clock);
        DesktopNotifications notifications(bus_.connection());
        GapNotifications gaps(manager, notifications);
        manager.setCameraAvailable(true);
        manager.devicesChanged();

        QTRY_COMPARE(notifyCalls().size(), 1);
        QCOMPARE(notifyCalls().at(0),
                 (QVariantList{0u, QStringLiteral("Nelvo quit unexpectedly"),
                               QStringLiteral(
                                   "Nelvo quit unexpectedly at %1 and wasn't watching until %2, so "
                                   "nothing was recorded in between.")
                                   .arg(shortTime(10, 41), shortTime(11, 5))}));

        clock.advance(15s);
        clock.setNow(at(23, 10));
        manager.willSleep();
        clock.setNow(at(7, 0, 2));
        manager.didWake();
        QTRY_COMPARE(notifyCalls().size(), 2);
        const QVariantList first = notifyCalls().at(1);
        QCOMPARE(first.at(0).toUInt(), 0u);
        QCOMPARE(first.at(1).toString(), QStringLiteral("Nelvo wasn't watching"));
        QCOMPARE(first.at(2).toString(),
                 QStringLiteral("Nelvo wasn't watching from %1 to %2, so nothing was recorded.")
                     .arg(shortTime(23, 10), shortTime(7, 0)));

        // A second sleep gap replaces the first notification.
        QTest::qWait(100);  // the id of the first has come back
        manager.willSleep();
        clock.setNow(at(9, 30, 2));
        manager.didWake();
        QTRY_COMPARE(notifyCalls().size(), 3);
        QVERIFY(notifyCalls().at(2).at(0).toUInt() != 0u);
        QCOMPARE(notifyCalls().at(2).at(2).toString(),
                 QStringLiteral("Nelvo wasn't watching from %1 to %2, so nothing was recorded.")
                     .arg(shortTime(7, 0), shortTime(9, 30)));
    }

    void quitBodyShowsDatesOffToday() {
        const QString body =
            GapNotifications::quitUnexpectedlyBody(at(23, 50), at(8, 0, 2), at(8, 1, 2));
        QCOMPARE(body,
                 QStringLiteral(
                     "Nelvo quit unexpectedly at %1 and wasn't watching until %2, so nothing was "
                     "recorded in between.")
                     .arg(QLocale().toString(at(23, 50), QLocale::ShortFormat), shortTime(8, 0)));
    }
};

QTEST_GUILESS_MAIN(tst_GapNotifications)
#include "tst_GapNotifications.moc"
