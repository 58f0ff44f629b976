#include "NumberField.h"

#include <QLineEdit>
#include <QLocale>

QLineEdit* NumberField::makeEdit(QWidget* parent) {
    auto* field = new QLineEdit(parent);
    field->setAlignment(Qt::AlignRight);
    field->setFixedWidth(field->fontMetrics().horizontalAdvance(QStringLiteral("000000")) + 16);
    return field;
}

std::optional<int> NumberField::take(QLineEdit* field) const {
    if (field->text().trimmed().isEmpty()) {
        field->setText(QString::number(fallback));
    }
    bool isNumber = false;
    const int value = QLocale().toInt(field->text().trimmed(), &isNumber);
    if (!isNumber || value < minimum || value > maximum) {
        return std::nullopt;
    }
    field->setText(QString::number(value));
    return value;
}

QString NumberField::outOfRangeTitle() const {
    const QLocale locale;
    //: Alert title for a number out of range; the arguments are the smallest and largest allowed
    return tr("Enter a number from %1 to %2")
        .arg(locale.toString(minimum), locale.toString(maximum));
}
