#pragma once

#include "UserNotifications.h"

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <optional>

// Notifications through the desktop's org.freedesktop.Notifications service.
// The id the service gives a notification is kept per identifier and passed as
// replaces_id, so a second one of the same identifier replaces the first. A
// post made while the first of its identifier is still being delivered waits
// for that id. Main thread only.
class DesktopNotifications : public QObject, public UserNotifications {
    Q_OBJECT

public:
    explicit DesktopNotifications(QDBusConnection bus = QDBusConnection::sessionBus(),
                                  QObject* parent = nullptr);

    void post(const QString& identifier, const QString& title, const QString& body) override;

Q_SIGNALS:
    // The service answered a post (tests and logs).
    void delivered(const QString& identifier, uint id);

private:
    struct Pending {
        QString title;
        QString body;
    };
    void send(const QString& identifier, const QString& title, const QString& body);

    QDBusConnection bus_;
    QHash<QString, uint> ids_;
    QHash<QString, bool> inFlight_;
    QHash<QString, Pending> waiting_;
    bool reported_ = false;
};
