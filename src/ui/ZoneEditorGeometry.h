#pragma once

#include <QPointF>
#include <QRectF>
#include <optional>
#include <vector>

// The zone editor's arithmetic, free of widgets. Zones are normalised to the
// picture (0...1 across and down, origin at its top left); view points are
// widget coordinates, which also grow downwards.
namespace ZoneEditorGeometry {

// The smallest zone width and height, in normalised units.
inline constexpr double minimumZone = 0.02;

// The normalised point of a view point, only when the picture is not empty
// and contains it.
std::optional<QPointF> normalised(const QRectF& picture, const QPointF& point);

// Where a normalised rectangle lies in the view.
QRectF viewRect(const QRectF& picture, const QRectF& zone);

// The topmost zone at a normalised point: zones are tried from the last drawn
// to the first.
std::optional<int> hit(const std::vector<QRectF>& zones, const QPointF& point);

// The zone shifted by `delta`, held inside 0...1 on both axes.
QRectF moved(const QRectF& zone, const QPointF& delta);

// The zone between two normalised corners, when both its sides reach the
// minimum.
std::optional<QRectF> drawn(const QPointF& from, const QPointF& to);

}  // namespace ZoneEditorGeometry
