#include "ZoneEditorGeometry.h"

#include <algorithm>
#include <cmath>

namespace ZoneEditorGeometry {

std::optional<QPointF> normalised(const QRectF& picture, const QPointF& point) {
    if (picture.isEmpty() || !picture.contains(point)) {
        return std::nullopt;
    }
    return QPointF((point.x() - picture.left()) / picture.width(),
                   (point.y() - picture.top()) / picture.height());
}

QRectF viewRect(const QRectF& picture, const QRectF& zone) {
    return QRectF(picture.left() + zone.x() * picture.width(),
                  picture.top() + zone.y() * picture.height(), zone.width() * picture.width(),
                  zone.height() * picture.height());
}

std::optional<int> hit(const std::vector<QRectF>& zones, const QPointF& point) {
    for (int i = static_cast<int>(zones.size()) - 1; i >= 0; --i) {
        if (zones[i].contains(point)) {
            return i;
        }
    }
    return std::nullopt;
}

QRectF moved(const QRectF& zone, const QPointF& delta) {
    // A zone never wider than the picture, so the upper bound stays >= 0.
    const double x = std::clamp(zone.x() + delta.x(), 0.0, std::max(0.0, 1.0 - zone.width()));
    const double y = std::clamp(zone.y() + delta.y(), 0.0, std::max(0.0, 1.0 - zone.height()));
    return QRectF(x, y, zone.width(), zone.height());
}

std::optional<QRectF> drawn(const QPointF& from, const QPointF& to) {
    const QRectF zone(std::min(from.x(), to.x()), std::min(from.y(), to.y()),
                      std::abs(to.x() - from.x()), std::abs(to.y() - from.y()));
    if (zone.width() < minimumZone || zone.height() < minimumZone) {
        return std::nullopt;
    }
    return zone;
}

}  // namespace ZoneEditorGeometry
