#pragma once

#include <QByteArray>
#include <QRectF>
#include <QString>
#include <memory>
#include <optional>
#include <vector>

class Defaults;

// The rectangles a user drew over a camera's picture, in normalised frame
// coordinates (0...1 across and down, y from the top row). No rectangles: the
// whole frame is watched. Stored per camera as JSON under
// "detectionZones.{uniqueID}", e.g. {"rects":[[[0.1,0.2],[0.3,0.25]]]}.
struct DetectionZones {
    using Rects = std::vector<QRectF>;

    Rects rects;

    bool operator==(const DetectionZones&) const = default;

    // Absent when a number cannot be written as JSON (not finite).
    std::optional<QByteArray> toJson() const;
    // Absent when the data is not a valid encoding.
    static std::optional<DetectionZones> fromJson(const QByteArray& data);

    // Whether the normalised point lies in a rectangle: at or after its
    // minimum edges and before its maximum edges.
    static bool contains(const QRectF& rect, double x, double y) {
        return x >= rect.x() && x < rect.x() + rect.width() && y >= rect.y() &&
               y < rect.y() + rect.height();
    }

    // The zones detection uses, from the process-wide cache (read and decoded
    // once per camera). Shared and immutable, so per-frame readers copy nothing.
    static std::shared_ptr<const Rects> zones(const std::optional<QString>& cameraID,
                                              const Defaults& defaults);
    // The stored zones, bypassing the cache (the zone editor on opening).
    static Rects storedZones(const QString& cameraID, const Defaults& defaults);
    // Stores the zones and makes detection use them from the next frame on.
    static void save(const QString& cameraID, Defaults& defaults, const Rects& rects);
};
