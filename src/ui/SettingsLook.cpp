#include "SettingsLook.h"

#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>

namespace SettingsLook {

QFrame* separator(QWidget* parent) {
    auto* line = new QFrame(parent);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    return line;
}

QLabel* noteLabel(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setWordWrap(true);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.9);
    label->setFont(font);
    return label;
}

void setTextColour(QLabel* label, const QColor& colour) {
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, colour);
    label->setPalette(palette);
}

QColor secondaryColour(const QWidget* widget) {
    return widget->palette().color(QPalette::PlaceholderText);
}

QColor warningColour() {
    return QColor(0xC8, 0x5A, 0x00);
}

QWidget* withUnit(QWidget* control, const QString& unit, QWidget* parent) {
    auto* box = new QWidget(parent);
    auto* row = new QHBoxLayout(box);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(control);
    row->addWidget(new QLabel(unit, box), 1);
    return box;
}

}  // namespace SettingsLook
