#pragma once

#include "ScheduleWindow.h"

#include <QWidget>
#include <array>
#include <functional>

class QCheckBox;
class QLabel;
class QTimeEdit;
class QToolButton;

// One row of the weekly schedule editor: seven day checkboxes (Sunday first),
// the start and end times, "next day" when the window runs over midnight, and
// a remove button. Every edit is reported with the whole window through
// `onChange`; the remove button calls `onRemove`. Holds no other state.
class ScheduleRowView : public QWidget {
    Q_OBJECT
public:
    using Change = std::function<void(const ScheduleWindow&)>;
    using Remove = std::function<void()>;

    static constexpr int spacing = 6;

    ScheduleRowView(ScheduleWindow window, bool enabled, Change onChange, Remove onRemove,
                    QWidget* parent = nullptr);

    const ScheduleWindow& scheduleWindow() const { return scheduleWindow_; }

    // The controls, in order, for the settings window and its tests.
    QCheckBox* dayButton(int weekday) const { return dayButtons_[weekday - 1]; }
    QTimeEdit* startPicker() const { return startPicker_; }
    QTimeEdit* endPicker() const { return endPicker_; }
    QLabel* nextDayLabel() const { return nextDayLabel_; }
    QToolButton* removeButton() const { return removeButton_; }

    // The locale's narrow name of a weekday (1 = Sunday ... 7 = Saturday).
    static QString dayTitle(int weekday);

private:
    void dayToggled(int weekday, bool on);
    void startChanged();
    void endChanged();
    void removeTapped();
    void updateNextDay();
    QTimeEdit* makePicker(int minutes, bool enabled);

    ScheduleWindow scheduleWindow_;
    Change onChange_;
    Remove onRemove_;
    std::array<QCheckBox*, 7> dayButtons_{};
    QTimeEdit* startPicker_ = nullptr;
    QTimeEdit* endPicker_ = nullptr;
    QLabel* nextDayLabel_ = nullptr;
    QToolButton* removeButton_ = nullptr;
};
