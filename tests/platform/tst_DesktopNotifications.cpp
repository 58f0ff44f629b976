#include "DesktopNotifications.h"
#include "PrivateBus.h"

#include <QSignalSpy>
#include <QTest>

namespace {
const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
}  // namespace

class tst_DesktopNotifications : public QObject {
    Q_OBJECT

private:
    PrivateBus bus_;

    QList<QVariantList> notifyCalls() {
        QList<QVariantList> calls;
        for (const auto& [method, arguments] : bus_.mockCalls(service, path)) {
            if (method == u"Notify") {
                calls.append(arguments);
            }
        }
        return calls;
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(bus_.isRunning());
        QVERIFY(bus_.startTemplate(QStringLiteral("notification_daemon"), service));
    }

    void sameIdentifierReplaces() {
        DesktopNotifications notifications(bus_.connection());
        QSignalSpy delivered(&notifications, &DesktopNotifications::delivered);
        notifications.post(QStringLiteral("sleep-gap"), QStringLiteral("A"),
                           QStringLiteral("first"));
        // Posted before the first is answered: waits for its id.
        notifications.post(QStringLiteral("sleep-gap"), QStringLiteral("A"),
                           QStringLiteral("second"));
        notifications.post(QStringLiteral("quit-unexpectedly"), QStringLiteral("B"),
                           QStringLiteral("other"));
        QTRY_COMPARE(delivered.count(), 3);
        const QList<QVariantList> calls = notifyCalls();
        QCOMPARE(calls.size(), 3);
        QCOMPARE(calls.at(0).at(0).toString(), QStringLiteral("Nelvo"));
        QCOMPARE(calls.at(0).at(1).toUInt(), 0u);
        QCOMPARE(calls.at(0).at(4).toString(), QStringLiteral("first"));
        const uint firstId = delivered.at(0).at(1).toUInt();
        QVERIFY(firstId != 0);
        QCOMPARE(calls.at(1).at(4).toString(), QStringLiteral("other"));
        QCOMPARE(calls.at(1).at(1).toUInt(), 0u);
        QCOMPARE(calls.at(2).at(4).toString(), QStringLiteral("second"));
        QCOMPARE(calls.at(2).at(1).toUInt(), firstId);
    }
};

QTEST_GUILESS_MAIN(tst_DesktopNotifications)
#include "tst_DesktopNotifications.moc"
