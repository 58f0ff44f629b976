#include "Logind.h"

#include <QDBusMessage>

namespace Logind {

QDBusPendingCall inhibit(const QDBusConnection& bus, const QString& what, const QString& why,
                         const QString& mode) {
    QDBusMessage call =
        QDBusMessage::createMethodCall(service, path, managerInterface, QStringLiteral("Inhibit"));
    call << what << QStringLiteral("Nelvo") << why << mode;
    return bus.asyncCall(call);
}

}  // namespace Logind
