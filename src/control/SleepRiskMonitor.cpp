#include "SleepRiskMonitor.h"

#include "UPowerClient.h"

SleepRiskMonitor::SleepRiskMonitor(UPowerClient& power, std::function<QStringList()> screenNames,
                                   QObject* parent)
    : QObject(parent), power_(power), screenNames_(std::move(screenNames)) {
    connect(&power_, &UPowerClient::changed, this, &SleepRiskMonitor::update);
    update();
}

bool SleepRiskMonitor::lidRisk(bool hasInternalBattery, bool onACPower, bool hasExternalDisplay) {
    return hasInternalBattery && !(onACPower && hasExternalDisplay);
}

bool SleepRiskMonitor::hasExternalDisplay(const QStringList& screenNames) {
    for (const QString& name : screenNames) {
        const bool builtIn = name.startsWith(u"eDP", Qt::CaseInsensitive) ||
                             name.startsWith(u"LVDS", Qt::CaseInsensitive) ||
                             name.startsWith(u"DSI", Qt::CaseInsensitive);
        if (!builtIn) {
            return true;
        }
    }
    return false;
}

void SleepRiskMonitor::update() {
    const UPowerClient::Facts& facts = power_.facts();
    // Without UPower there is no battery and no AC power known: no risk.
    const bool internalBattery = facts.hasBattery && facts.lidIsPresent;
    const bool onAC = power_.available() && !facts.onBattery;
    const bool risk = lidRisk(internalBattery, onAC,
                              hasExternalDisplay(screenNames_ ? screenNames_() : QStringList()));
    if (risk == lidWouldStopWatching_) {
        return;
    }
    lidWouldStopWatching_ = risk;
    Q_EMIT lidWouldStopWatchingChanged();
}
