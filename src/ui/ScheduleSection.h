#pragma once

#include "LoginItem.h"
#include "Schedule.h"

#include <QWidget>
#include <vector>

class Defaults;
class QCheckBox;
class QLabel;
class QPushButton;
class QVBoxLayout;
class RecordingManager;
class ScheduleRowView;

// The settings window's weekly schedule: the checkbox that turns it on, a
// row per window, the button that adds one, and a note on what the schedule
// needs to keep working. Edits are saved as they happen; the recording
// manager reloads the schedule when the store changes.
class ScheduleSection : public QWidget {
    Q_OBJECT
public:
    ScheduleSection(RecordingManager& recordingManager, QWidget* parent);

    // Reads the schedule afresh.
    void reload();
    // The note depends on whether Nelvo opens at login.
    void setLoginState(LoginItem::State state);
    void scheduleEnabledChanged();
    void addScheduleWindow();

    // The window "Add a window" inserts: weekday nights, 22:00 to 07:00.
    static ScheduleWindow defaultScheduleWindow();

    const Schedule& schedule() const { return schedule_; }
    QCheckBox* scheduleCheckbox() const { return scheduleCheckbox_; }
    QPushButton* addWindowButton() const { return addWindowButton_; }
    QLabel* scheduleNote() const { return scheduleNote_; }
    std::vector<ScheduleRowView*> scheduleRows() const;

private:
    void rebuild();
    void scheduleWindowChanged(std::size_t index, const ScheduleWindow& window);
    void removeScheduleWindow(std::size_t index);
    void save();
    void updateNote();

    RecordingManager& recordingManager_;
    Defaults& defaults_;
    Schedule schedule_;
    LoginItem::State loginState_ = LoginItem::State::off;
    QCheckBox* scheduleCheckbox_ = nullptr;
    QVBoxLayout* scheduleRowsLayout_ = nullptr;
    QPushButton* addWindowButton_ = nullptr;
    QLabel* scheduleNote_ = nullptr;
};
