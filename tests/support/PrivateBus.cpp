#include "PrivateBus.h"

#include <QDBusArgument>
#include <QDBusConnectionInterface>
#include <QDeadlineTimer>
#include <QThread>

namespace {
const QString connectionName = QStringLiteral("nelvo-test-private-bus");
}

PrivateBus::PrivateBus() {
    daemon_.start(QStringLiteral("dbus-daemon"),
                  {QStringLiteral("--session"), QStringLiteral("--nofork"),
                   QStringLiteral("--print-address")});
    if (!daemon_.waitForStarted(5000)) {
        return;
    }
    QDeadlineTimer deadline(10000);
    while (!daemon_.canReadLine() && !deadline.hasExpired()) {
        daemon_.waitForReadyRead(100);
    }
    address_ = QString::fromUtf8(daemon_.readLine()).trimmed();
    qputenv("DBUS_SESSION_BUS_ADDRESS", address_.toUtf8());
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", address_.toUtf8());
}

PrivateBus::~PrivateBus() {
    for (Service& service : services_) {
        service.process->terminate();
        service.process->waitForFinished(3000);
    }
    services_.clear();
    QDBusConnection::disconnectFromBus(connectionName);
    daemon_.terminate();
    daemon_.waitForFinished(3000);
}

QDBusConnection PrivateBus::connection() const {
    return QDBusConnection::connectToBus(address_, connectionName);
}

bool PrivateBus::waitForName(const QString& busName, bool present) const {
    QDeadlineTimer deadline(15000);
    while (!deadline.hasExpired()) {
        if (connection().interface()->isServiceRegistered(busName).value() == present) {
            return true;
        }
        QThread::msleep(50);
    }
    return false;
}

bool PrivateBus::startTemplate(const QString& name, const QString& busName,
                               const QString& parameters) {
    auto process = std::make_unique<QProcess>();
    process->setProcessChannelMode(QProcess::ForwardedErrorChannel);
    QStringList arguments{QStringLiteral("-m"), QStringLiteral("dbusmock"),
                          QStringLiteral("--template"), name};
    if (!parameters.isEmpty()) {
        arguments << QStringLiteral("--parameters") << parameters;
    }
    process->start(QStringLiteral("/usr/bin/python3"), arguments);
    if (!process->waitForStarted(5000)) {
        return false;
    }
    services_.push_back({busName, std::move(process)});
    return waitForName(busName, true);
}

void PrivateBus::stopTemplate(const QString& busName) {
    for (auto it = services_.begin(); it != services_.end(); ++it) {
        if (it->busName == busName) {
            it->process->terminate();
            it->process->waitForFinished(3000);
            services_.erase(it);
            waitForName(busName, false);
            return;
        }
    }
}

QDBusMessage PrivateBus::call(const QString& service, const QString& path, const QString& interface,
                              const QString& method, const QVariantList& arguments) const {
    QDBusMessage message = QDBusMessage::createMethodCall(service, path, interface, method);
    message.setArguments(arguments);
    return connection().call(message, QDBus::Block, 10000);
}

QList<QStringList> PrivateBus::logindInhibitors() const {
    const QDBusMessage reply =
        call(QStringLiteral("org.freedesktop.login1"), QStringLiteral("/org/freedesktop/login1"),
             QStringLiteral("org.freedesktop.login1.Manager"), QStringLiteral("ListInhibitors"));
    QList<QStringList> inhibitors;
    // a(ssssuu): what, who, why, mode, user, process
    const QDBusArgument array = reply.arguments().value(0).value<QDBusArgument>();
    array.beginArray();
    while (!array.atEnd()) {
        QString what, who, why, mode;
        uint uid = 0, pid = 0;
        array.beginStructure();
        array >> what >> who >> why >> mode >> uid >> pid;
        array.endStructure();
        inhibitors.append({what, who, why, mode});
    }
    array.endArray();
    return inhibitors;
}

std::vector<std::pair<QString, QVariantList>> PrivateBus::mockCalls(const QString& service,
                                                                    const QString& path) const {
    const QDBusMessage reply = call(service, path, QStringLiteral("org.freedesktop.DBus.Mock"),
                                    QStringLiteral("GetCalls"));
    std::vector<std::pair<QString, QVariantList>> calls;
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return calls;
    }
    // a(tsav): timestamp, method name, arguments
    const QDBusArgument list = reply.arguments().first().value<QDBusArgument>();
    list.beginArray();
    while (!list.atEnd()) {
        quint64 timestamp = 0;
        QString method;
        QVariantList arguments;
        list.beginStructure();
        list >> timestamp >> method;
        list.beginArray();
        while (!list.atEnd()) {
            QDBusVariant value;
            list >> value;
            arguments.append(value.variant());
        }
        list.endArray();
        list.endStructure();
        calls.emplace_back(method, arguments);
    }
    list.endArray();
    return calls;
}
