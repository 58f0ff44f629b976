#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QProcess>
#include <QString>
#include <QVariantList>
#include <memory>
#include <vector>

// A D-Bus daemon of the test's own, serving as both the session and the
// system bus of this process, with python3-dbusmock services on it. Create it
// before anything connects to a bus: it points DBUS_SESSION_BUS_ADDRESS and
// DBUS_SYSTEM_BUS_ADDRESS at itself.
class PrivateBus {
public:
    PrivateBus();
    ~PrivateBus();

    bool isRunning() const { return !address_.isEmpty(); }
    const QString& address() const { return address_; }
    QDBusConnection connection() const;

    // Starts dbusmock's template (e.g. "logind", "upower",
    // "notification_daemon") with JSON parameters and waits until its name is
    // on the bus.
    bool startTemplate(const QString& name, const QString& busName, const QString& parameters = {});
    // Stops the service started under `busName` and waits until it is gone.
    void stopTemplate(const QString& busName);

    // A method call on a service of this bus; the reply (or error) message.
    QDBusMessage call(const QString& service, const QString& path, const QString& interface,
                      const QString& method, const QVariantList& arguments = {}) const;
    // The inhibitors the logind mock holds now, each as (what, who, why, mode).
    QList<QStringList> logindInhibitors() const;
    // The calls a dbusmock object recorded, as (method name, arguments).
    std::vector<std::pair<QString, QVariantList>> mockCalls(const QString& service,
                                                            const QString& path) const;

private:
    struct Service {
        QString busName;
        std::unique_ptr<QProcess> process;
    };

    bool waitForName(const QString& busName, bool present) const;

    QProcess daemon_;
    QString address_;
    std::vector<Service> services_;
};
