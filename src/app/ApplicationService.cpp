#include "ApplicationService.h"

#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>

namespace {
const QString applicationInterface = QStringLiteral("org.freedesktop.Application");
}

ApplicationService::ApplicationService(QDBusConnection bus, QObject* parent)
    : ScriptingService(bus, objectPath, parent), bus_(std::move(bus)) {}

ApplicationService::~ApplicationService() {
    if (registered_) {
        bus_.unregisterObject(objectPath);
        bus_.unregisterService(serviceName);
    }
}

ApplicationService::Registration ApplicationService::registerOnBus() {
    if (!bus_.isConnected()) {
        return Registration::noBus;
    }
    // The scripting interface joins later as an adaptor of this object.
    if (!bus_.registerObject(objectPath, this,
                             QDBusConnection::ExportAllSlots | QDBusConnection::ExportAdaptors)) {
        return Registration::noBus;
    }
    // Not queued: a second Nelvo must learn at once that it is the second.
    const QDBusReply<QDBusConnectionInterface::RegisterServiceReply> reply =
        bus_.interface()->registerService(serviceName, QDBusConnectionInterface::DontQueueService,
                                          QDBusConnectionInterface::DontAllowReplacement);
    if (!reply.isValid()) {
        bus_.unregisterObject(objectPath);
        return Registration::noBus;
    }
    if (reply.value() != QDBusConnectionInterface::ServiceRegistered) {
        bus_.unregisterObject(objectPath);
        return Registration::alreadyRunning;
    }
    registered_ = true;
    return Registration::registered;
}

bool ApplicationService::activateRunningInstance(QDBusConnection bus) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        serviceName, objectPath, applicationInterface, QStringLiteral("Activate"));
    call << QVariantMap();
    return bus.call(call, QDBus::Block, 5000).type() == QDBusMessage::ReplyMessage;
}

void ApplicationService::Activate(const QVariantMap&) {
    Q_EMIT activated();
}

void ApplicationService::Open(const QStringList&, const QVariantMap&) {
    // Nelvo opens no documents; being asked to is being asked to show itself.
    Q_EMIT activated();
}

void ApplicationService::ActivateAction(const QString& actionName, const QVariantList&,
                                        const QVariantMap&) {
    if (actionName == QStringLiteral("quit")) {
        Q_EMIT quitRequested();
        return;
    }
    if (performAction(actionName)) {
        return;
    }
    sendErrorReply(QDBusError::NotSupported,
                   QStringLiteral("Nelvo has no action called \"%1\"").arg(actionName));
}
