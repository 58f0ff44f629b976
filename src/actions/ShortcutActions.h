#pragma once

#include "ArmState.h"

#include <QCoreApplication>
#include <QString>
#include <optional>

class RecordingManager;

// What the desktop's actions and scripts do to the recording manager, and
// the dialog each answers. Refusals are answers, not errors. Main thread.
class ShortcutActions {
    Q_DECLARE_TR_FUNCTIONS(ShortcutActions)

public:
    struct Answer {
        QString dialog;
        bool done = false;  // false when Nelvo refused
    };

    explicit ShortcutActions(RecordingManager& manager) : manager_(manager) {}

    // "Arm Nelvo": a 5-second countdown, when unarmed and something can trigger.
    Answer arm();
    // "Disarm Nelvo": whatever the state.
    Answer disarm();
    // "Is Nelvo Armed": true in any state but unarmed; the dialog is the state's text.
    bool isArmed(QString& dialog) const;
    // "Record a Test", as the popover's menu does.
    Answer recordTest();
    // A Focus (or the desktop's Do Not Disturb) turned on or off; logged.
    // Answers the state's text.
    QString focus(bool armed);

    // What every action answers while Nelvo is still starting, or not running.
    static QString notReadyText();
    // The state's name in log lines: unarmed, arming, armed, recording or none.
    static QString stateName(std::optional<ArmState> state);

private:
    RecordingManager& manager_;
};
