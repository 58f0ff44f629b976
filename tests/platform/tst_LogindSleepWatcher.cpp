#include "LogindSleepWatcher.h"
#include "PrivateBus.h"

#include <QDBusArgument>
#include <QSignalSpy>
#include <QTest>

namespace {
const QString logind = QStringLiteral("org.freedesktop.login1");
const QString logindPath = QStringLiteral("/org/freedesktop/login1");
const QString manager = QStringLiteral("org.freedesktop.login1.Manager");
}  // namespace

// Will-sleep and did-wake from logind's PrepareForSleep, with the delay
// inhibitor held while awake and released once will-sleep is handled.
class tst_LogindSleepWatcher : public QObject {
    Q_OBJECT

private:
    PrivateBus bus_;

    QStringList delayInhibitors() {
        const QDBusMessage reply =
            bus_.call(logind, logindPath, manager, QStringLiteral("ListInhibitors"));
        QStringList modes;
        const QDBusArgument array = reply.arguments().value(0).value<QDBusArgument>();
        array.beginArray();
        while (!array.atEnd()) {
            QString what, who, why, mode;
            uint uid = 0, pid = 0;
            array.beginStructure();
            array >> what >> who >> why >> mode >> uid >> pid;
            array.endStructure();
            modes.append(what + u' ' + who + u' ' + mode);
        }
        array.endArray();
        return modes;
    }

    void prepareForSleep(bool start) {
        const QDBusMessage reply = bus_.call(
            logind, logindPath, QStringLiteral("org.freedesktop.DBus.Mock"),
            QStringLiteral("EmitSignal"),
            {manager, QStringLiteral("PrepareForSleep"), QStringLiteral("b"),
             QVariant::fromValue(QVariantList{QVariant::fromValue(QDBusVariant(start))})});
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(bus_.isRunning());
        QVERIFY(bus_.startTemplate(QStringLiteral("logind"), logind));
    }

    void delayIsHeldUntilWillSleepRan() {
        LogindSleepWatcher watcher(bus_.connection());
        QTRY_COMPARE(delayInhibitors(), QStringList{QStringLiteral("sleep Nelvo delay")});
        QTRY_VERIFY(watcher.holdsDelay());

        bool heldDuringWillSleep = false;
        connect(&watcher, &LogindSleepWatcher::willSleep, this,
                [&] { heldDuringWillSleep = watcher.holdsDelay(); });
        QSignalSpy willSleep(&watcher, &LogindSleepWatcher::willSleep);
        QSignalSpy didWake(&watcher, &LogindSleepWatcher::didWake);
        prepareForSleep(true);
        QTRY_COMPARE(willSleep.count(), 1);
        QVERIFY(heldDuringWillSleep);
        QVERIFY(!watcher.holdsDelay());
        QTRY_COMPARE(delayInhibitors(), QStringList());

        prepareForSleep(false);
        QTRY_COMPARE(didWake.count(), 1);
        QTRY_COMPARE(delayInhibitors(), QStringList{QStringLiteral("sleep Nelvo delay")});
        QCOMPARE(willSleep.count(), 1);
    }
};

QTEST_GUILESS_MAIN(tst_LogindSleepWatcher)
#include "tst_LogindSleepWatcher.moc"
