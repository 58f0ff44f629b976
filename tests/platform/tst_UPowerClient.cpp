#include "PrivateBus.h"
#include "UPowerClient.h"

#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTest>
#include <QTimer>

namespace {
const QString upower = QStringLiteral("org.freedesktop.UPower");
const QString upowerPath = QStringLiteral("/org/freedesktop/UPower");
const QString mockInterface = QStringLiteral("org.freedesktop.DBus.Mock");

// How long the slow UPower below takes to list its devices.
constexpr int slowAnswerMs = 1000;

// Measures the longest stretch the main thread's event loop went without
// running a 10 ms timer.
class LoopWatch {
public:
    LoopWatch() {
        timer_.setInterval(10);
        QObject::connect(&timer_, &QTimer::timeout,
                         [this] { longestGap_ = std::max(longestGap_, sinceLast_.restart()); });
        sinceLast_.start();
        timer_.start();
    }
    qint64 longestGapMs() const { return std::max(longestGap_, sinceLast_.elapsed()); }

private:
    QTimer timer_;
    QElapsedTimer sinceLast_;
    qint64 longestGap_ = 0;
};

}  // namespace

// UPower's answers from a UPower mock on a private bus, one that answers
// slowly where the test needs to see that nobody waits for it.
class tst_UPowerClient : public QObject {
    Q_OBJECT

private:
    PrivateBus bus_;

    void call(const QString& method, const QVariantList& arguments) {
        const QDBusMessage reply = bus_.call(upower, upowerPath, mockInterface, method, arguments);
        QVERIFY2(reply.type() == QDBusMessage::ReplyMessage, qPrintable(reply.errorMessage()));
    }
    void startUPower() {
        bus_.stopTemplate(upower);
        QVERIFY(bus_.startTemplate(QStringLiteral("upower"), upower));
    }
    void addBattery() {
        call(QStringLiteral("AddDischargingBattery"),
             {QStringLiteral("battery0"), QStringLiteral("Internal battery"), 80.0, qint64(3600)});
    }
    // UPower lists its devices only after `slowAnswerMs`.
    void answerSlowly() {
        call(QStringLiteral("AddMethod"),
             {upower, QStringLiteral("EnumerateDevices"), QString(), QStringLiteral("ao"),
              QStringLiteral("__import__('time').sleep(%1); "
                             "ret = [k for k in objects.keys() if '/devices' in k and "
                             "not k.endswith('/DisplayDevice')]")
                  .arg(slowAnswerMs / 1000.0)});
    }
    void setOnBattery(bool onBattery) {
        call(QStringLiteral("UpdateProperties"),
             {upower, QVariantMap{{QStringLiteral("OnBattery"), onBattery}}});
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(bus_.isRunning()); }

    void readsTheFacts() {
        startUPower();
        addBattery();
        UPowerClient power(bus_.connection());
        QSignalSpy changes(&power, &UPowerClient::changed);
        QTRY_VERIFY(power.available());
        QCOMPARE(power.facts(), (UPowerClient::Facts{false, true, true}));
        QCOMPARE(changes.count(), 1);

        setOnBattery(true);
        QTRY_VERIFY(power.facts().onBattery);
        QCOMPARE(changes.count(), 2);
    }

    // Starting and following changes never hold the main thread up while
    // UPower takes its time; the answers arrive all the same.
    void neverWaitsForUPower() {
        startUPower();
        addBattery();
        answerSlowly();
        LoopWatch loop;
        QElapsedTimer constructing;
        constructing.start();
        UPowerClient power(bus_.connection());
        const qint64 constructedMs = constructing.elapsed();
        QVERIFY2(constructedMs < slowAnswerMs / 4, qPrintable(QString::number(constructedMs)));
        QVERIFY(!power.available());
        QTRY_VERIFY_WITH_TIMEOUT(power.available(), 5000);
        QVERIFY(power.facts().hasBattery);
        qInfo("Started in %lld ms; the event loop waited at most %lld ms for UPower's answers",
              constructedMs, loop.longestGapMs());
        QVERIFY2(loop.longestGapMs() < slowAnswerMs / 4,
                 qPrintable(QString::number(loop.longestGapMs())));

        LoopWatch afterChange;
        setOnBattery(true);
        QTRY_VERIFY_WITH_TIMEOUT(power.facts().onBattery, 5000);
        QVERIFY(power.facts().hasBattery);
        QVERIFY2(afterChange.longestGapMs() < slowAnswerMs / 4,
                 qPrintable(QString::number(afterChange.longestGapMs())));
    }

    // Of changes that come faster than UPower answers, the last one counts.
    void theLastAnswerWins() {
        startUPower();
        addBattery();
        UPowerClient power(bus_.connection());
        QTRY_VERIFY(power.available());
        answerSlowly();
        setOnBattery(true);
        setOnBattery(false);
        QTest::qWait(3 * slowAnswerMs);
        QCOMPARE(power.facts(), (UPowerClient::Facts{false, true, true}));
    }

    void withoutUPowerNothingIsKnown() {
        bus_.stopTemplate(upower);
        UPowerClient power(bus_.connection());
        QSignalSpy changes(&power, &UPowerClient::changed);
        QTest::qWait(300);
        QVERIFY(!power.available());
        QCOMPARE(power.facts(), UPowerClient::Facts());
        QCOMPARE(changes.count(), 0);
    }

    // UPower starting after Nelvo is noticed.
    void upowerStartingLaterIsNoticed() {
        bus_.stopTemplate(upower);
        UPowerClient power(bus_.connection());
        QTest::qWait(200);
        QVERIFY(!power.available());
        startUPower();
        QTRY_VERIFY_WITH_TIMEOUT(power.available(), 5000);
    }
};

QTEST_GUILESS_MAIN(tst_UPowerClient)
#include "tst_UPowerClient.moc"
