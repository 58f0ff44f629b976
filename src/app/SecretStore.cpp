#include "SecretStore.h"

#include <libsecret/secret.h>
#include <QJsonDocument>
#include <QJsonObject>

namespace SecretStore {

namespace {

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

}  // namespace

std::optional<NetworkCredentials> lookup(const QString& cameraID) {
    GError* error = nullptr;
    const QByteArray id = cameraID.toUtf8();
    gchar* secret =
        secret_password_lookup_sync(schema(), nullptr, &error, "camera", id.constData(), nullptr);
    if (error) {
        g_error_free(error);
    }
    if (!secret) {
        return std::nullopt;
    }
    const QJsonObject stored = QJsonDocument::fromJson(QByteArray(secret)).object();
    secret_password_free(secret);
    return NetworkCredentials{stored.value(u"user").toString(),
                              stored.value(u"password").toString()};
}

}  // namespace SecretStore
