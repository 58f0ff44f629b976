#include "LogindSleepWatcher.h"
#include "PrivateBus.h"

#include <QDBusVariant>
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

    // "what who mode" of every inhibitor logind holds now.
    QStringList delayInhibitors() {
        QStringList modes;
        for (const QStringList& inhibitor : bus_.logindInhibitors()) {
            modes.append(inhibitor.at(0) + u' ' + inhibitor.at(1) + u' ' + inhibitor.at(3));
        }
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
