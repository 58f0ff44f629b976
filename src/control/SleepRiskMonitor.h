#pragma once

#include <QObject>
#include <QStringList>
#include <functional>

class UPowerClient;

// Publishes whether closing the lid would put the computer to sleep and so
// stop the watch: a computer with a lid and a battery, unless it runs on
// power with an external display connected. Recomputed when UPower announces
// a change and when the screens change (the owner calls update()).
class SleepRiskMonitor : public QObject {
    Q_OBJECT
    Q_PROPERTY(
        bool lidWouldStopWatching READ lidWouldStopWatching NOTIFY lidWouldStopWatchingChanged)

public:
    // `screenNames` answers the connector names of the screens in use
    // (QScreen::name(), e.g. "eDP-1", "HDMI-1").
    SleepRiskMonitor(UPowerClient& power, std::function<QStringList()> screenNames,
                     QObject* parent = nullptr);

    bool lidWouldStopWatching() const { return lidWouldStopWatching_; }

    static bool lidRisk(bool hasInternalBattery, bool onACPower, bool hasExternalDisplay);
    // eDP, LVDS and DSI connectors are the built-in panel; anything else is external.
    static bool hasExternalDisplay(const QStringList& screenNames);

public Q_SLOTS:
    void update();

Q_SIGNALS:
    void lidWouldStopWatchingChanged();

private:
    UPowerClient& power_;
    std::function<QStringList()> screenNames_;
    bool lidWouldStopWatching_ = false;
};
