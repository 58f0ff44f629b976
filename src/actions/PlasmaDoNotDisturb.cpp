#include "PlasmaDoNotDisturb.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <QDBusVariant>

namespace {
const QString service = QStringLiteral("org.freedesktop.Notifications");
const QString path = QStringLiteral("/org/freedesktop/Notifications");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");
const QString inhibitedName = QStringLiteral("Inhibited");
}  // namespace

PlasmaDoNotDisturb::PlasmaDoNotDisturb(QDBusConnection bus, QObject* parent)
    : QObject(parent), bus_(std::move(bus)) {
    bus_.connect(service, path, propertiesInterface, QStringLiteral("PropertiesChanged"), this,
                 SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
    // A notification server starting (or restarting) is read afresh.
    auto* watcher =
        new QDBusServiceWatcher(service, bus_, QDBusServiceWatcher::WatchForOwnerChange, this);
    connect(watcher, &QDBusServiceWatcher::serviceOwnerChanged, this,
            [this](const QString&, const QString&, const QString& owner) {
                if (owner.isEmpty()) {
                    setInhibited(std::nullopt);
                } else {
                    readInhibited();
                }
            });
    readInhibited();
}

void PlasmaDoNotDisturb::readInhibited() {
    QDBusMessage get =
        QDBusMessage::createMethodCall(service, path, propertiesInterface, QStringLiteral("Get"));
    get << service << inhibitedName;
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(get), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this,
            [this](QDBusPendingCallWatcher* call) {
                call->deleteLater();
                const QDBusPendingReply<QDBusVariant> reply = *call;
                if (reply.isValid()) {
                    setInhibited(reply.value().variant().toBool());
                }
            });
}

void PlasmaDoNotDisturb::propertiesChanged(const QString& interface, const QVariantMap& changed,
                                           const QStringList& invalidated) {
    if (interface != service) {
        return;
    }
    if (changed.contains(inhibitedName)) {
        setInhibited(changed.value(inhibitedName).toBool());
    } else if (invalidated.contains(inhibitedName)) {
        readInhibited();
    }
}

void PlasmaDoNotDisturb::setInhibited(std::optional<bool> inhibited) {
    if (inhibited_ == inhibited) {
        return;
    }
    inhibited_ = inhibited;
    Q_EMIT changed();
}
