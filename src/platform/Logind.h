#pragma once

#include <QDBusConnection>
#include <QDBusPendingCall>
#include <QString>

// The parts of systemd-logind's manager interface Nelvo uses.
namespace Logind {

inline const QString service = QStringLiteral("org.freedesktop.login1");
inline const QString path = QStringLiteral("/org/freedesktop/login1");
inline const QString managerInterface = QStringLiteral("org.freedesktop.login1.Manager");

// Inhibit(what, "Nelvo", why, mode): the reply carries the inhibitor's file
// descriptor; the inhibitor lasts until every copy of it is closed.
QDBusPendingCall inhibit(const QDBusConnection& bus, const QString& what, const QString& why,
                         const QString& mode);

}  // namespace Logind
