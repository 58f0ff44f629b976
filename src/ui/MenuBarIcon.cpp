#include "MenuBarIcon.h"

#include <QPainter>
#include <QPixmap>

MenuBarIcon::Appearance MenuBarIcon::appearance(ArmState state, bool recordingFailed) {
    if (recordingFailed) {
        return {false, Tint::yellow, Tint::yellow};
    }
    switch (state) {
        case ArmState::unarmed:
            return {true, Tint::gray, Tint::gray};
        case ArmState::arming:
            return {false, Tint::orange, Tint::gray};
        case ArmState::armed:
            return {false, Tint::red, Tint::blue};
        case ArmState::recording:
            return {false, Tint::red, Tint::red};
    }
    return {};
}

QColor MenuBarIcon::color(Tint tint) {
    // Saturated colours that stand out on dark and light panels alike.
    switch (tint) {
        case Tint::gray:
            return neutralGray();
        case Tint::orange:
            return QColor(0xff, 0x78, 0x00);
        case Tint::red:
            return QColor(0xe0, 0x1b, 0x24);
        case Tint::blue:
            return QColor(0x35, 0x84, 0xe4);
        case Tint::yellow:
            return QColor(0xf6, 0xd3, 0x2d);
    }
    return neutralGray();
}

QColor MenuBarIcon::neutralGray() {
    // Mid grey: about 5:1 contrast against black and 4:1 against white.
    return QColor(0x80, 0x80, 0x80);
}

QColor MenuBarIcon::templateColor(const std::optional<QColor>& panelForeground) {
    if (panelForeground && panelForeground->isValid()) {
        return *panelForeground;
    }
    return neutralGray();
}

void MenuBarIcon::paint(QPainter& painter, const Appearance& appearance, const QColor& monochrome) {
    const QColor ring = appearance.isTemplate ? monochrome : color(appearance.ring);
    const QColor center = appearance.isTemplate ? monochrome : color(appearance.center);
    const QRectF square(0, 0, size, size);

    painter.save();
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(QPen(ring, ringWidth));
    painter.setBrush(Qt::NoBrush);
    painter.drawEllipse(square.adjusted(ringInset, ringInset, -ringInset, -ringInset));
    painter.setPen(Qt::NoPen);
    painter.setBrush(center);
    painter.drawEllipse(square.adjusted(centerInset, centerInset, -centerInset, -centerInset));
    painter.restore();
}

QImage MenuBarIcon::image(const Appearance& appearance, qreal devicePixelRatio,
                          const QColor& monochrome) {
    const int pixels = qRound(size * devicePixelRatio);
    QImage image(pixels, pixels, QImage::Format_ARGB32_Premultiplied);
    image.setDevicePixelRatio(devicePixelRatio);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    paint(painter, appearance, monochrome);
    return image;
}

QIcon MenuBarIcon::icon(const Appearance& appearance, const QColor& monochrome) {
    QIcon icon;
    for (const qreal ratio : {1.0, 2.0}) {
        icon.addPixmap(QPixmap::fromImage(image(appearance, ratio, monochrome)));
    }
    icon.setIsMask(appearance.isTemplate);
    return icon;
}

QString MenuBarIcon::accessibilityLabel(bool recordingFailed, const QString& stateDescription) {
    if (recordingFailed) {
        //: Tray icon's tooltip and accessible name
        return tr("Nelvo - a recording failed");
    }
    //: Tray icon's tooltip and accessible name; the argument is the armed state, as the popover
    //: shows it
    return tr("Nelvo - %1").arg(stateDescription);
}
