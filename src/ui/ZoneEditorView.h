#pragma once

#include "DetectionZones.h"

#include <QPointF>
#include <QRectF>
#include <QString>
#include <QWidget>
#include <optional>
#include <variant>

class Defaults;
class QLabel;
class QPushButton;

// Lies over one camera's picture in the preview window. The user draws
// rectangles (detection zones) with the mouse, moves them, selects one and
// deletes it, or clears them all. Every change is saved for the camera at
// once, and detection uses it from the next frame on.
class ZoneEditorView : public QWidget {
    Q_OBJECT

public:
    static constexpr double minimumZone = 0.02;
    // The share of black laid over the picture outside the zones.
    static constexpr double dimming = 0.45;

    struct Drawing {
        QPointF from;  // view points
        QPointF to;
    };
    struct Moving {
        int index = 0;
        QPointF last;  // normalised
    };
    using Drag = std::variant<std::monostate, Drawing, Moving>;

    explicit ZoneEditorView(Defaults& defaults, QWidget* parent = nullptr);

    // Loads the camera's stored zones; without a camera the mouse is ignored.
    void setCameraID(const std::optional<QString>& cameraID);
    const std::optional<QString>& cameraID() const { return cameraID_; }
    // Where the camera picture is drawn, in this view's coordinates.
    void setPictureRect(const QRectF& rect);
    const QRectF& pictureRect() const { return pictureRect_; }

    const DetectionZones::Rects& zones() const { return zones_; }
    std::optional<int> selected() const { return selected_; }
    const Drag& drag() const { return drag_; }
    QLabel* hint() const { return hint_; }
    QPushButton* clearButton() const { return clearButton_; }

public Q_SLOTS:
    void clearZones();

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void save();
    void layOut();
    void moveZone(Moving& moving, const QPointF& point);

    Defaults& defaults_;
    std::optional<QString> cameraID_;
    QRectF pictureRect_;
    DetectionZones::Rects zones_;
    std::optional<int> selected_;
    Drag drag_;
    QLabel* hint_;
    QPushButton* clearButton_;
};
