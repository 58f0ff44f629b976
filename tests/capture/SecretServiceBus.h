#pragma once

// A session bus of the test's own with a real secret service on it:
// gnome-keyring-daemon (secrets only), its login keyring made and unlocked
// with a throw-away password. The bus starts nothing by itself, so once the
// keyring is stopped no secret service answers, as on a desktop without one.
// Create it after TestEnvironment and before anything connects to a bus.
#include <gio/gio.h>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDeadlineTimer>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QThread>

class SecretServiceBus {
public:
    explicit SecretServiceBus(const QString& home) {
        const QString config = home + QStringLiteral("/secret-bus.conf");
        QFile file(config);
        if (!file.open(QIODevice::WriteOnly)) {
            return;
        }
        file.write(
            "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\" "
            "\"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
            "<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen>"
            "<auth>EXTERNAL</auth><policy context=\"default\">"
            "<allow send_destination=\"*\" eavesdrop=\"true\"/><allow eavesdrop=\"true\"/>"
            "<allow own=\"*\"/></policy></busconfig>\n");
        file.close();
        daemon_.start(QStringLiteral("dbus-daemon"),
                      {QStringLiteral("--config-file=") + config, QStringLiteral("--nofork"),
                       QStringLiteral("--print-address")});
        if (!daemon_.waitForStarted(5000)) {
            return;
        }
        QDeadlineTimer deadline(15000);
        while (!daemon_.canReadLine() && !deadline.hasExpired()) {
            daemon_.waitForReadyRead(100);
        }
        address_ = QString::fromUtf8(daemon_.readLine()).trimmed();
        qputenv("DBUS_SESSION_BUS_ADDRESS", address_.toUtf8());
    }

    ~SecretServiceBus() {
        stopKeyring();
        // GLib's shared connection (libsecret's) would end the process when
        // its bus goes away.
        if (GDBusConnection* connection = g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr)) {
            g_dbus_connection_set_exit_on_close(connection, FALSE);
            g_object_unref(connection);
        }
        daemon_.terminate();
        daemon_.waitForFinished(3000);
    }

    bool isRunning() const { return !address_.isEmpty(); }

    // Starts the keyring and waits until it owns its name on the bus.
    bool startKeyring() {
        keyring_.setProcessChannelMode(QProcess::ForwardedChannels);
        keyring_.start(QStringLiteral("gnome-keyring-daemon"),
                       {QStringLiteral("--foreground"), QStringLiteral("--components=secrets"),
                        QStringLiteral("--unlock")});
        if (!keyring_.waitForStarted(5000)) {
            return false;
        }
        // --unlock reads the keyring's password from standard input.
        keyring_.write("nelvo-test-keyring");
        keyring_.waitForBytesWritten(5000);
        keyring_.closeWriteChannel();
        return waitForService(true);
    }

    void stopKeyring() {
        if (keyring_.state() == QProcess::NotRunning) {
            return;
        }
        keyring_.terminate();
        keyring_.waitForFinished(5000);
        waitForService(false);
    }

private:
    bool waitForService(bool present) {
        QDeadlineTimer deadline(20000);
        while (!deadline.hasExpired()) {
            if (QDBusConnection::sessionBus()
                    .interface()
                    ->isServiceRegistered(QStringLiteral("org.freedesktop.secrets"))
                    .value() == present) {
                return true;
            }
            QThread::msleep(50);
        }
        return false;
    }

    QProcess daemon_;
    QProcess keyring_;
    QString address_;
};
