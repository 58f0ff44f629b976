#include "SavedNetworkCameras.h"

#include "Defaults.h"
#include "NetworkCameraUrl.h"
#include "SettingsKeys.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <algorithm>

std::vector<SavedNetworkCamera> SavedNetworkCameras::read(const Defaults& defaults) {
    std::vector<SavedNetworkCamera> cameras;
    const std::optional<QByteArray> stored = defaults.data(SettingsKeys::networkCameras);
    if (!stored) {
        return cameras;
    }
    for (const QJsonValue& value : QJsonDocument::fromJson(*stored).array()) {
        const QJsonObject object = value.toObject();
        SavedNetworkCamera camera{object.value(u"id").toString(), object.value(u"name").toString(),
                                  object.value(u"url").toString(),
                                  object.value(u"saved").toString()};
        // An address edited by hand to hold a password is not taken.
        const auto url = NetworkCameraUrl::parse(camera.address);
        if (!url || url->hasCredentials() || camera.uniqueID != url->uniqueID()) {
            continue;
        }
        if (camera.name.isEmpty()) {
            camera.name = url->name();
        }
        cameras.push_back(camera);
    }
    return cameras;
}

std::optional<SavedNetworkCamera> SavedNetworkCameras::find(const Defaults& defaults,
                                                            const QString& uniqueID) {
    for (const SavedNetworkCamera& camera : read(defaults)) {
        if (camera.uniqueID == uniqueID) {
            return camera;
        }
    }
    return std::nullopt;
}

void SavedNetworkCameras::save(Defaults& defaults, SavedNetworkCamera camera) {
    std::vector<SavedNetworkCamera> cameras = read(defaults);
    camera.savedAt = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    const auto same = std::find_if(cameras.begin(), cameras.end(), [&](const auto& saved) {
        return saved.uniqueID == camera.uniqueID;
    });
    if (same != cameras.end()) {
        *same = camera;
    } else {
        cameras.push_back(camera);
    }
    write(defaults, cameras);
}

void SavedNetworkCameras::remove(Defaults& defaults, const QString& uniqueID) {
    std::vector<SavedNetworkCamera> cameras = read(defaults);
    std::erase_if(cameras, [&](const auto& saved) { return saved.uniqueID == uniqueID; });
    write(defaults, cameras);
}

void SavedNetworkCameras::write(Defaults& defaults,
                                const std::vector<SavedNetworkCamera>& cameras) {
    QJsonArray array;
    for (const SavedNetworkCamera& camera : cameras) {
        array.append(QJsonObject{{QStringLiteral("id"), camera.uniqueID},
                                 {QStringLiteral("name"), camera.name},
                                 {QStringLiteral("url"), camera.address},
                                 {QStringLiteral("saved"), camera.savedAt}});
    }
    defaults.set(SettingsKeys::networkCameras, QJsonDocument(array).toJson(QJsonDocument::Compact));
}
