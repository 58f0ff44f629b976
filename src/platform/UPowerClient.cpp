#include "UPowerClient.h"

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QVariant>

namespace {

const QString service = QStringLiteral("org.freedesktop.UPower");
const QString path = QStringLiteral("/org/freedesktop/UPower");
const QString interface = QStringLiteral("org.freedesktop.UPower");
const QString deviceInterface = QStringLiteral("org.freedesktop.UPower.Device");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
// UPower may be started on demand by the first question.
constexpr int timeoutMs = 5000;
constexpr uint batteryKind = 2;  // UP_DEVICE_KIND_BATTERY

QDBusMessage allProperties(const QString& objectPath, const QString& ofInterface) {
    QDBusMessage call = QDBusMessage::createMethodCall(service, objectPath, propertiesInterface,
                                                       QStringLiteral("GetAll"));
    call << ofInterface;
    return call;
}

bool answered(const QDBusMessage& reply) {
    return reply.type() == QDBusMessage::ReplyMessage && !reply.arguments().isEmpty();
}

QVariantMap propertiesIn(const QDBusMessage& reply) {
    return answered(reply) ? qdbus_cast<QVariantMap>(reply.arguments().first()) : QVariantMap();
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
        serviceWatcher_ =
            new QDBusServiceWatcher(service, bus_, QDBusServiceWatcher::WatchForOwnerChange, this);
        connect(serviceWatcher_, &QDBusServiceWatcher::serviceOwnerChanged, this,
                &UPowerClient::somethingChanged);
    }
    refresh();
}

void UPowerClient::somethingChanged() {
    refresh();
}

void UPowerClient::refresh() {
    round_ = Round{round_.number + 1, false, -1, {}};
    if (!bus_.isConnected()) {
        publish(false, {});
        return;
    }
    ask(allProperties(path, interface),
        [this](const QDBusMessage& reply) { managerAnswered(reply); });
    ask(QDBusMessage::createMethodCall(service, path, interface,
                                       QStringLiteral("EnumerateDevices")),
        [this](const QDBusMessage& reply) { devicesListed(reply); });
}

// The answer goes to `answered` only while no later refresh has begun.
void UPowerClient::ask(const QDBusMessage& call,
                       std::function<void(const QDBusMessage&)> answered) {
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call, timeoutMs), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this, watcher, number = round_.number, answered = std::move(answered)] {
                watcher->deleteLater();
                if (number == round_.number) {
                    answered(watcher->reply());
                }
            });
}

void UPowerClient::managerAnswered(const QDBusMessage& reply) {
    if (!answered(reply)) {
        ++round_.number;  // the other answers of this round no longer matter
        publish(false, {});
        return;
    }
    const QVariantMap manager = propertiesIn(reply);
    round_.managerAnswered = true;
    round_.facts.onBattery = manager.value(QStringLiteral("OnBattery")).toBool();
    round_.facts.lidIsPresent = manager.value(QStringLiteral("LidIsPresent")).toBool();
    finishWhenAnswered();
}

void UPowerClient::devicesListed(const QDBusMessage& reply) {
    const auto devices = answered(reply)
                             ? qdbus_cast<QList<QDBusObjectPath>>(reply.arguments().first())
                             : QList<QDBusObjectPath>();
    round_.devicesUnanswered = static_cast<int>(devices.size());
    for (const QDBusObjectPath& device : devices) {
        ask(allProperties(device.path(), deviceInterface),
            [this](const QDBusMessage& answer) { deviceAnswered(answer); });
    }
    finishWhenAnswered();
}

void UPowerClient::deviceAnswered(const QDBusMessage& reply) {
    const QVariantMap properties = propertiesIn(reply);
    if (properties.value(QStringLiteral("Type")).toUInt() == batteryKind &&
        properties.value(QStringLiteral("PowerSupply")).toBool()) {
        round_.facts.hasBattery = true;
    }
    --round_.devicesUnanswered;
    finishWhenAnswered();
}

void UPowerClient::finishWhenAnswered() {
    if (round_.managerAnswered && round_.devicesUnanswered == 0) {
        publish(true, round_.facts);
    }
}

void UPowerClient::publish(bool available, const Facts& facts) {
    if (available == available_ && facts == facts_) {
        return;
    }
    available_ = available;
    facts_ = facts;
    Q_EMIT changed();
}
