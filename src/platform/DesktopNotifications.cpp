#include "DesktopNotifications.h"

#include "Log.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QStringList>
#include <QVariantMap>

DesktopNotifications::DesktopNotifications(QDBusConnection bus, QObject* parent)
    : QObject(parent), bus_(std::move(bus)) {}

void DesktopNotifications::post(const QString& identifier, const QString& title,
                                const QString& body) {
    if (inFlight_.value(identifier)) {
        waiting_.insert(identifier, {title, body});
        return;
    }
    send(identifier, title, body);
}

void DesktopNotifications::send(const QString& identifier, const QString& title,
                                const QString& body) {
    QDBusMessage call = QDBusMessage::createMethodCall(
        QStringLiteral("org.freedesktop.Notifications"),
        QStringLiteral("/org/freedesktop/Notifications"),
        QStringLiteral("org.freedesktop.Notifications"), QStringLiteral("Notify"));
    const QVariantMap hints{{QStringLiteral("desktop-entry"), QStringLiteral("io.nelvo.Nelvo")}};
    call << QStringLiteral("Nelvo") << ids_.value(identifier, 0u)
         << QStringLiteral("io.nelvo.Nelvo") << title << body << QStringList() << hints << -1;
    inFlight_.insert(identifier, true);
    auto* watcher = new QDBusPendingCallWatcher(bus_.asyncCall(call), this);
    connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher, identifier] {
        watcher->deleteLater();
        inFlight_.remove(identifier);
        QDBusPendingReply<uint> reply = *watcher;
        if (reply.isError()) {
            if (!reported_) {
                reported_ = true;
                Log::line(
                    QStringLiteral("Cannot show notifications: %1").arg(reply.error().message()));
            }
        } else {
            ids_.insert(identifier, reply.value());
            Q_EMIT delivered(identifier, reply.value());
        }
        if (waiting_.contains(identifier)) {
            const Pending next = waiting_.take(identifier);
            send(identifier, next.title, next.body);
        }
    });
}
