#include "UPowerClient.h"

#include <QDBusInterface>
#include <QDBusObjectPath>
#include <QDBusReply>
#include <QDBusVariant>
#include <QVariant>

namespace {

const QString service = QStringLiteral("org.freedesktop.UPower");
const QString path = QStringLiteral("/org/freedesktop/UPower");
const QString interface = QStringLiteral("org.freedesktop.UPower");
const QString deviceInterface = QStringLiteral("org.freedesktop.UPower.Device");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
constexpr int timeoutMs = 2000;
constexpr uint batteryKind = 2;  // UP_DEVICE_KIND_BATTERY

QVariantMap allProperties(const QDBusConnection& bus, const QString& objectPath,
                          const QString& ofInterface, bool* ok) {
    QDBusMessage call = QDBusMessage::createMethodCall(service, objectPath, propertiesInterface,
                                                       QStringLiteral("GetAll"));
    call << ofInterface;
    const QDBusReply<QVariantMap> reply = bus.call(call, QDBus::Block, timeoutMs);
    if (ok) {
        *ok = reply.isValid();
    }
    return reply.isValid() ? reply.value() : QVariantMap();
}

}  // namespace

UPowerClient::UPowerClient(QDBusConnection bus, QObject* parent)
    : QObject(parent), bus_(std::move(bus)) {
    if (bus_.isConnected()) {
        bus_.connect(service, path, propertiesInterface, QStringLiteral("PropertiesChanged"), this,
                     SLOT(somethingChanged()));
        bus_.connect(service, path, interface, QStringLiteral("DeviceAdded"), this,
                     SLOT(somethingChanged()));
        bus_.connect(service, path, interface, QStringLiteral("DeviceRemoved"), this,
                     SLOT(somethingChanged()));
    }
    refresh();
}

void UPowerClient::somethingChanged() {
    refresh();
    Q_EMIT changed();
}

void UPowerClient::refresh() {
    facts_ = {};
    available_ = false;
    if (!bus_.isConnected()) {
        return;
    }
    bool ok = false;
    const QVariantMap manager = allProperties(bus_, path, interface, &ok);
    if (!ok) {
        return;
    }
    available_ = true;
    facts_.onBattery = manager.value(QStringLiteral("OnBattery")).toBool();
    facts_.lidIsPresent = manager.value(QStringLiteral("LidIsPresent")).toBool();
    facts_.hasBattery = hasBatteryDevice();
}

bool UPowerClient::hasBatteryDevice() const {
    QDBusMessage call = QDBusMessage::createMethodCall(service, path, interface,
                                                       QStringLiteral("EnumerateDevices"));
    const QDBusReply<QList<QDBusObjectPath>> devices = bus_.call(call, QDBus::Block, timeoutMs);
    if (!devices.isValid()) {
        return false;
    }
    for (const QDBusObjectPath& device : devices.value()) {
        const QVariantMap properties = allProperties(bus_, device.path(), deviceInterface, nullptr);
        if (properties.value(QStringLiteral("Type")).toUInt() == batteryKind &&
            properties.value(QStringLiteral("PowerSupply")).toBool()) {
            return true;
        }
    }
    return false;
}
