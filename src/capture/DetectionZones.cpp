#include "DetectionZones.h"

#include "Defaults.h"
#include "SettingsKeys.h"

#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <cmath>
#include <mutex>

namespace {

// The one process-wide cache of decoded zones, guarded by one lock that is held
// only while the dictionary is read or written.
struct ZoneCache {
    std::mutex lock;
    QHash<QString, std::shared_ptr<const DetectionZones::Rects>> entries;
};

ZoneCache& cache() {
    static ZoneCache instance;
    return instance;
}

void store(const QString& cameraID, DetectionZones::Rects rects) {
    auto entry = std::make_shared<const DetectionZones::Rects>(std::move(rects));
    std::lock_guard guard(cache().lock);
    cache().entries.insert(cameraID, std::move(entry));
}

std::optional<QRectF> rectFromJson(const QJsonValue& value) {
    const QJsonArray parts = value.toArray();
    if (parts.size() != 2) {
        return std::nullopt;
    }
    const QJsonArray origin = parts[0].toArray();
    const QJsonArray size = parts[1].toArray();
    if (origin.size() != 2 || size.size() != 2) {
        return std::nullopt;
    }
    for (const QJsonValue& number : {origin[0], origin[1], size[0], size[1]}) {
        if (!number.isDouble()) {
            return std::nullopt;
        }
    }
    return QRectF(origin[0].toDouble(), origin[1].toDouble(), size[0].toDouble(),
                  size[1].toDouble());
}

}  // namespace

std::optional<QByteArray> DetectionZones::toJson() const {
    QJsonArray list;
    for (const QRectF& rect : rects) {
        for (const double number : {rect.x(), rect.y(), rect.width(), rect.height()}) {
            if (!std::isfinite(number)) {
                return std::nullopt;
            }
        }
        list.append(
            QJsonArray{QJsonArray{rect.x(), rect.y()}, QJsonArray{rect.width(), rect.height()}});
    }
    return QJsonDocument(QJsonObject{{QStringLiteral("rects"), list}})
        .toJson(QJsonDocument::Compact);
}

std::optional<DetectionZones> DetectionZones::fromJson(const QByteArray& data) {
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(data, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject()) {
        return std::nullopt;
    }
    const QJsonValue list = document.object().value(QStringLiteral("rects"));
    if (!list.isArray()) {
        return std::nullopt;
    }
    DetectionZones zones;
    for (const QJsonValue& value : list.toArray()) {
        const std::optional<QRectF> rect = rectFromJson(value);
        if (!rect) {
            return std::nullopt;
        }
        zones.rects.push_back(*rect);
    }
    return zones;
}

std::shared_ptr<const DetectionZones::Rects> DetectionZones::zones(
    const std::optional<QString>& cameraID, const Defaults& defaults) {
    static const auto none = std::make_shared<const Rects>();
    if (!cameraID) {
        return none;
    }
    {
        std::lock_guard guard(cache().lock);
        const auto found = cache().entries.constFind(*cameraID);
        if (found != cache().entries.cend()) {
            return found.value();
        }
    }
    store(*cameraID, storedZones(*cameraID, defaults));
    std::lock_guard guard(cache().lock);
    return cache().entries.value(*cameraID);
}

DetectionZones::Rects DetectionZones::storedZones(const QString& cameraID,
                                                  const Defaults& defaults) {
    const std::optional<QByteArray> data = defaults.data(SettingsKeys::detectionZonesFor(cameraID));
    if (!data) {
        return {};
    }
    const std::optional<DetectionZones> decoded = fromJson(*data);
    return decoded ? decoded->rects : Rects{};
}

void DetectionZones::save(const QString& cameraID, Defaults& defaults, const Rects& rects) {
    if (const std::optional<QByteArray> data = DetectionZones{rects}.toJson()) {
        defaults.set(SettingsKeys::detectionZonesFor(cameraID), *data);
    }
    store(cameraID, rects);
}
