#pragma once

#include "ArmState.h"

#include <QColor>
#include <QCoreApplication>
#include <QIcon>
#include <QImage>
#include <QString>
#include <optional>

class QPainter;

// Nelvo's round tray icon: a ring and a centre dot whose colours follow the
// armed state and recording failures.
class MenuBarIcon {
    Q_DECLARE_TR_FUNCTIONS(MenuBarIcon)

public:
    MenuBarIcon() = delete;

    enum class Tint { gray, orange, red, blue, yellow };

    struct Appearance {
        // Drawn in one neutral colour, like the panel's other monochrome icons.
        bool isTemplate = true;
        Tint ring = Tint::gray;
        Tint center = Tint::gray;
        friend bool operator==(const Appearance&, const Appearance&) = default;
    };

    // The icon's size in device-independent pixels.
    static constexpr int size = 18;
    static constexpr qreal ringInset = 2;
    static constexpr qreal ringWidth = 2.5;
    static constexpr qreal centerInset = 6;

    // The look of a state; a recording failure overrides every state.
    static Appearance appearance(ArmState state, bool recordingFailed);

    // The colour of a tint outside a template look.
    static QColor color(Tint tint);
    // The template look's colour: the panel's foreground where the desktop
    // tells it, otherwise a grey that reads on dark and light panels alike.
    static QColor templateColor(const std::optional<QColor>& panelForeground = std::nullopt);
    static QColor neutralGray();

    // Draws the ring and the dot into the size x size square at the origin;
    // a template look is drawn all in `monochrome`.
    static void paint(QPainter& painter, const Appearance& appearance, const QColor& monochrome);
    // The icon as an image at one device pixel ratio.
    static QImage image(const Appearance& appearance, qreal devicePixelRatio,
                        const QColor& monochrome = templateColor());
    // The icon with its images at device pixel ratios 1 and 2.
    static QIcon icon(const Appearance& appearance, const QColor& monochrome = templateColor());

    // The tooltip and accessible name; `stateDescription` is the armed
    // state's own description.
    static QString accessibilityLabel(bool recordingFailed, const QString& stateDescription);
};
