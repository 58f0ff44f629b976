#include "SecretStore.h"

#include <libsecret/secret.h>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QJsonDocument>
#include <QJsonObject>

namespace SecretStore {

namespace {

const QString serviceName = QStringLiteral("org.freedesktop.secrets");

const SecretSchema* schema() {
    static const SecretSchema cameraSchema = [] {
        SecretSchema made{};
        made.name = "io.nelvo.Nelvo.NetworkCamera";
        made.flags = SECRET_SCHEMA_NONE;
        made.attributes[0] = {"camera", SECRET_SCHEMA_ATTRIBUTE_STRING};
        return made;
    }();
    return &cameraSchema;
}

// Drops the error, which may quote what the service was given.
bool succeeded(GError* error) {
    if (!error) {
        return true;
    }
    g_error_free(error);
    return false;
}

}  // namespace

bool available() {
    QDBusConnectionInterface* bus = QDBusConnection::sessionBus().interface();
    if (!bus) {
        return false;
    }
    if (bus->isServiceRegistered(serviceName).value()) {
        return true;
    }
    const QDBusReply<QStringList> activatable = bus->call(QStringLiteral("ListActivatableNames"));
    return activatable.isValid() && activatable.value().contains(serviceName);
}

std::optional<NetworkCredentials> lookup(const QString& cameraID) {
    GError* error = nullptr;
    const QByteArray id = cameraID.toUtf8();
    gchar* secret =
        secret_password_lookup_sync(schema(), nullptr, &error, "camera", id.constData(), nullptr);
    succeeded(error);
    if (!secret) {
        return std::nullopt;
    }
    const QJsonObject stored = QJsonDocument::fromJson(QByteArray(secret)).object();
    secret_password_free(secret);
    return NetworkCredentials{stored.value(u"user").toString(),
                              stored.value(u"password").toString()};
}

Outcome store(const QString& cameraID, const QString& label,
              const NetworkCredentials& credentials) {
    if (!available()) {
        return Outcome::noService;
    }
    QByteArray secret =
        QJsonDocument(QJsonObject{{QStringLiteral("user"), credentials.user},
                                  {QStringLiteral("password"), credentials.password}})
            .toJson(QJsonDocument::Compact);
    GError* error = nullptr;
    const QByteArray id = cameraID.toUtf8();
    const gboolean done = secret_password_store_sync(
        schema(), SECRET_COLLECTION_DEFAULT, label.toUtf8().constData(), secret.constData(),
        nullptr, &error, "camera", id.constData(), nullptr);
    secret.fill('\0');
    return succeeded(error) && done ? Outcome::stored : Outcome::failed;
}

bool remove(const QString& cameraID) {
    GError* error = nullptr;
    const QByteArray id = cameraID.toUtf8();
    secret_password_clear_sync(schema(), nullptr, &error, "camera", id.constData(), nullptr);
    return succeeded(error);
}

}  // namespace SecretStore
