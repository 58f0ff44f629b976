#include "ScheduleSection.h"

#include "Defaults.h"
#include "RecordingManager.h"
#include "ScheduleRowView.h"
#include "ScheduleSurvival.h"
#include "SettingsKeys.h"
#include "SettingsLook.h"

#include <QCheckBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>

ScheduleSection::ScheduleSection(RecordingManager& recordingManager, QWidget* parent)
    : QWidget(parent), recordingManager_(recordingManager), defaults_(recordingManager.defaults()) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    //: Settings checkbox
    scheduleCheckbox_ = new QCheckBox(tr("Watch on a schedule"), this);
    connect(scheduleCheckbox_, &QCheckBox::clicked, this, [this] { scheduleEnabledChanged(); });
    column->addWidget(scheduleCheckbox_);
    scheduleRowsLayout_ = new QVBoxLayout;
    scheduleRowsLayout_->setSpacing(4);
    column->addLayout(scheduleRowsLayout_);
    //: Settings button that adds a row to the schedule
    addWindowButton_ = new QPushButton(tr("Add a window"), this);
    connect(addWindowButton_, &QPushButton::clicked, this, [this] { addScheduleWindow(); });
    auto* buttonLine = new QHBoxLayout;
    buttonLine->addWidget(addWindowButton_);
    buttonLine->addStretch(1);
    column->addLayout(buttonLine);
    scheduleNote_ = SettingsLook::noteLabel(this);
    scheduleNote_->setObjectName(QStringLiteral("scheduleNote"));
    column->addWidget(scheduleNote_);
}

ScheduleWindow ScheduleSection::defaultScheduleWindow() {
    return {{2, 3, 4, 5, 6}, 22 * 60, 7 * 60};
}

void ScheduleSection::reload() {
    schedule_ = Schedule::load(defaults_);
    rebuild();
}

void ScheduleSection::setLoginState(LoginItem::State state) {
    loginState_ = state;
    updateNote();
}

std::vector<ScheduleRowView*> ScheduleSection::scheduleRows() const {
    std::vector<ScheduleRowView*> rows;
    for (int i = 0; i < scheduleRowsLayout_->count(); ++i) {
        if (auto* row = qobject_cast<ScheduleRowView*>(scheduleRowsLayout_->itemAt(i)->widget())) {
            rows.push_back(row);
        }
    }
    return rows;
}

void ScheduleSection::rebuild() {
    const bool enabled = defaults_.boolValue(SettingsKeys::scheduledArmingEnabled);
    scheduleCheckbox_->setChecked(enabled);
    addWindowButton_->setEnabled(enabled);
    // Rows may be asking for their own removal right now: they go once
    // control is back in the event loop.
    while (QLayoutItem* item = scheduleRowsLayout_->takeAt(0)) {
        if (QWidget* row = item->widget()) {
            row->hide();
            row->deleteLater();
        }
        delete item;
    }
    for (std::size_t i = 0; i < schedule_.windows.size(); ++i) {
        scheduleRowsLayout_->addWidget(new ScheduleRowView(
            schedule_.windows[i], enabled,
            [this, i](const ScheduleWindow& window) { scheduleWindowChanged(i, window); },
            [this, i] { removeScheduleWindow(i); }, this));
    }
    updateNote();
}

void ScheduleSection::scheduleEnabledChanged() {
    defaults_.set(SettingsKeys::scheduledArmingEnabled, scheduleCheckbox_->isChecked());
    rebuild();
}

void ScheduleSection::addScheduleWindow() {
    schedule_.windows.push_back(defaultScheduleWindow());
    save();
    rebuild();
}

void ScheduleSection::scheduleWindowChanged(std::size_t index, const ScheduleWindow& window) {
    schedule_.windows[index] = window;
    save();
    updateNote();
}

void ScheduleSection::removeScheduleWindow(std::size_t index) {
    schedule_.windows.erase(schedule_.windows.begin() + static_cast<std::ptrdiff_t>(index));
    save();
    rebuild();
}

void ScheduleSection::save() {
    // The recording manager reloads the schedule when the store changes.
    schedule_.save(defaults_);
}

void ScheduleSection::updateNote() {
    if (ScheduleSurvival::scheduleCannotSurviveRestart(defaults_, loginState_,
                                                       recordingManager_.now())) {
        //: Settings, under the schedule, when nothing would open Nelvo after a restart
        scheduleNote_->setText(
            tr("The schedule only arms Nelvo while it's open, and with Open Nelvo at Login off "
               "nothing opens it after a restart. Turn it on above, or open Nelvo yourself after "
               "each restart."));
        SettingsLook::setTextColour(scheduleNote_, SettingsLook::warningColour());
        return;
    }
    if (loginState_ != LoginItem::State::on) {
        //: Settings, under the schedule
        scheduleNote_->setText(
            tr("The schedule only runs while Nelvo is open, so turn on Open Nelvo at Login. "
               "While the schedule is on, Nelvo keeps the computer awake the whole time, on days "
               "without a window too."));
    } else {
        //: Settings, under the schedule
        scheduleNote_->setText(
            tr("While the schedule is on, Nelvo keeps the computer awake the "
               "whole time, including days without a window."));
    }
    SettingsLook::setTextColour(scheduleNote_, SettingsLook::secondaryColour(this));
}
