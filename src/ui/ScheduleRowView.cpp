#include "ScheduleRowView.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QLocale>
#include <QStyle>
#include <QTimeEdit>
#include <QToolButton>

namespace {

int minutesOf(const QTime& time) {
    return time.hour() * 60 + time.minute();
}

// Hours and minutes in the locale's short style, without seconds.
QString pickerFormat() {
    QString format = QLocale().timeFormat(QLocale::ShortFormat);
    format.remove(QStringLiteral(":ss"));
    format.remove(QStringLiteral(".ss"));
    return format;
}

}  // namespace

ScheduleRowView::ScheduleRowView(ScheduleWindow window, bool enabled, Change onChange,
                                 Remove onRemove, QWidget* parent)
    : QWidget(parent),
      scheduleWindow_(std::move(window)),
      onChange_(std::move(onChange)),
      onRemove_(std::move(onRemove)) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->setSpacing(spacing);

    for (int weekday = 1; weekday <= 7; ++weekday) {
        auto* box = new QCheckBox(dayTitle(weekday), this);
        box->setProperty("weekday", weekday);
        box->setChecked(scheduleWindow_.days.contains(weekday));
        box->setEnabled(enabled);
        connect(box, &QCheckBox::toggled, this,
                [this, weekday](bool on) { dayToggled(weekday, on); });
        dayButtons_[weekday - 1] = box;
        row->addWidget(box);
    }
    row->addSpacing(spacing);

    startPicker_ = makePicker(scheduleWindow_.start, enabled);
    startPicker_->setObjectName(QStringLiteral("startPicker"));
    connect(startPicker_, &QTimeEdit::timeChanged, this, [this] { startChanged(); });
    row->addWidget(startPicker_);

    //: Schedule row, between the start and end times
    row->addWidget(new QLabel(tr("to"), this));

    endPicker_ = makePicker(scheduleWindow_.end, enabled);
    endPicker_->setObjectName(QStringLiteral("endPicker"));
    connect(endPicker_, &QTimeEdit::timeChanged, this, [this] { endChanged(); });
    row->addWidget(endPicker_);

    //: Schedule row, after an end time earlier than the start
    nextDayLabel_ = new QLabel(tr("next day"), this);
    nextDayLabel_->setEnabled(enabled);
    row->addWidget(nextDayLabel_);
    // Keeps the remove buttons of all rows in one column whether or not
    // "next day" shows.
    QSizePolicy keepSpace = nextDayLabel_->sizePolicy();
    keepSpace.setRetainSizeWhenHidden(true);
    nextDayLabel_->setSizePolicy(keepSpace);
    updateNextDay();

    row->addStretch(1);

    removeButton_ = new QToolButton(this);
    removeButton_->setObjectName(QStringLiteral("removeButton"));
    removeButton_->setIcon(QIcon::fromTheme(QStringLiteral("list-remove"),
                                            style()->standardIcon(QStyle::SP_DialogDiscardButton)));
    removeButton_->setToolButtonStyle(Qt::ToolButtonIconOnly);
    removeButton_->setAutoRaise(true);
    //: Schedule row, the remove button's tooltip
    removeButton_->setToolTip(tr("Remove this window"));
    removeButton_->setEnabled(enabled);
    connect(removeButton_, &QToolButton::clicked, this, [this] { removeTapped(); });
    row->addWidget(removeButton_);
}

QString ScheduleRowView::dayTitle(int weekday) {
    // Qt numbers Monday 1 ... Sunday 7.
    const int qtDay = weekday == 1 ? 7 : weekday - 1;
    return QLocale().dayName(qtDay, QLocale::NarrowFormat);
}

QTimeEdit* ScheduleRowView::makePicker(int minutes, bool enabled) {
    auto* picker = new QTimeEdit(QTime(minutes / 60, minutes % 60), this);
    picker->setDisplayFormat(pickerFormat());
    picker->setWrapping(true);
    picker->setEnabled(enabled);
    return picker;
}

void ScheduleRowView::dayToggled(int weekday, bool on) {
    if (on) {
        scheduleWindow_.days.insert(weekday);
    } else {
        scheduleWindow_.days.erase(weekday);
    }
    onChange_(scheduleWindow_);
}

void ScheduleRowView::startChanged() {
    scheduleWindow_.start = minutesOf(startPicker_->time());
    updateNextDay();
    onChange_(scheduleWindow_);
}

void ScheduleRowView::endChanged() {
    scheduleWindow_.end = minutesOf(endPicker_->time());
    updateNextDay();
    onChange_(scheduleWindow_);
}

void ScheduleRowView::removeTapped() {
    onRemove_();
}

void ScheduleRowView::updateNextDay() {
    nextDayLabel_->setVisible(scheduleWindow_.end < scheduleWindow_.start);
}
