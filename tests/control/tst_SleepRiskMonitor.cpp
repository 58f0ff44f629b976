#include "PrivateBus.h"
#include "SleepRiskMonitor.h"
#include "UPowerClient.h"

#include <QDBusVariant>
#include <QSignalSpy>
#include <QTest>

namespace {
const QString upower = QStringLiteral("org.freedesktop.UPower");
const QString upowerPath = QStringLiteral("/org/freedesktop/UPower");
const QString mockInterface = QStringLiteral("org.freedesktop.DBus.Mock");
}  // namespace

// The lid risk from a UPower mock on a private bus and a list of screens.
class tst_SleepRiskMonitor : public QObject {
    Q_OBJECT

private:
    PrivateBus bus_;
    QStringList screens_;

    void startUPower(bool onBattery) {
        bus_.stopTemplate(upower);
        QVERIFY(
            bus_.startTemplate(QStringLiteral("upower"), upower,
                               onBattery ? QStringLiteral(R"({"OnBattery": true})") : QString()));
    }
    void addBattery() {
        const QDBusMessage reply = bus_.call(
            upower, upowerPath, mockInterface, QStringLiteral("AddDischargingBattery"),
            {QStringLiteral("battery0"), QStringLiteral("Internal battery"), 80.0, qint64(3600)});
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    }
    void setOnBattery(bool onBattery) {
        const QVariantMap properties{{QStringLiteral("OnBattery"), onBattery}};
        const QDBusMessage reply =
            bus_.call(upower, upowerPath, mockInterface, QStringLiteral("UpdateProperties"),
                      {upower, properties});
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(bus_.isRunning()); }

    void rule() {
        QVERIFY(!SleepRiskMonitor::lidRisk(false, false, false));
        QVERIFY(SleepRiskMonitor::lidRisk(true, false, true));
        QVERIFY(SleepRiskMonitor::lidRisk(true, true, false));
        QVERIFY(!SleepRiskMonitor::lidRisk(true, true, true));
        QVERIFY(!SleepRiskMonitor::hasExternalDisplay({}));
        QVERIFY(!SleepRiskMonitor::hasExternalDisplay({QStringLiteral("eDP-1")}));
        QVERIFY(!SleepRiskMonitor::hasExternalDisplay(
            {QStringLiteral("LVDS-1"), QStringLiteral("DSI-1")}));
        QVERIFY(SleepRiskMonitor::hasExternalDisplay(
            {QStringLiteral("eDP-1"), QStringLiteral("HDMI-A-1")}));
    }

    void desktopWithoutBatteryNeverReportsRisk() {
        startUPower(false);
        UPowerClient power(bus_.connection());
        SleepRiskMonitor monitor(power, [this] { return screens_; });
        QTRY_VERIFY(power.available());
        screens_ = {QStringLiteral("eDP-1")};
        monitor.update();
        QVERIFY(!monitor.lidWouldStopWatching());
        setOnBattery(true);
        QTRY_VERIFY(power.facts().onBattery);
        QVERIFY(!monitor.lidWouldStopWatching());
    }

    void portableOnPowerWithExternalDisplay() {
        startUPower(false);
        addBattery();
        screens_ = {QStringLiteral("eDP-1"), QStringLiteral("HDMI-A-1")};
        UPowerClient power(bus_.connection());
        SleepRiskMonitor monitor(power, [this] { return screens_; });
        QTRY_VERIFY(power.facts().hasBattery);
        QVERIFY(!monitor.lidWouldStopWatching());

        // Unplugging the display.
        QSignalSpy changes(&monitor, &SleepRiskMonitor::lidWouldStopWatchingChanged);
        screens_ = {QStringLiteral("eDP-1")};
        monitor.update();
        QVERIFY(monitor.lidWouldStopWatching());
        QCOMPARE(changes.count(), 1);
        screens_ = {QStringLiteral("eDP-1"), QStringLiteral("HDMI-A-1")};
        monitor.update();
        QVERIFY(!monitor.lidWouldStopWatching());

        // Unplugging the power.
        setOnBattery(true);
        QTRY_VERIFY(monitor.lidWouldStopWatching());
        setOnBattery(false);
        QTRY_VERIFY(!monitor.lidWouldStopWatching());
    }

    void withoutUPowerNoRisk() {
        bus_.stopTemplate(upower);
        UPowerClient power(bus_.connection());
        SleepRiskMonitor monitor(power, [] { return QStringList{QStringLiteral("eDP-1")}; });
        QTest::qWait(300);
        QVERIFY(!power.available());
        QVERIFY(!monitor.lidWouldStopWatching());
    }
};

QTEST_GUILESS_MAIN(tst_SleepRiskMonitor)
#include "tst_SleepRiskMonitor.moc"
