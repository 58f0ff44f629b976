#include "ShortcutActions.h"

#include "Log.h"
#include "RecordingManager.h"

namespace {
QString boolText(bool value) {
    return value ? QStringLiteral("true") : QStringLiteral("false");
}
}  // namespace

ShortcutActions::Answer ShortcutActions::arm() {
    switch (manager_.armFromShortcut()) {
        case RecordingManager::ArmRequest::armed:
            //: Shortcuts result
            return {tr("Nelvo is arming."), true};
        case RecordingManager::ArmRequest::alreadyArmed:
            // Already as asked: nothing refused.
            //: Shortcuts result
            return {tr("Nelvo is already armed."), true};
        case RecordingManager::ArmRequest::nothingCanTrigger:
            break;
    }
    //: Shortcuts result
    return {tr("Nelvo can't arm: nothing can trigger a recording. Check the camera and "
               "microphone in Preferences."),
            false};
}

ShortcutActions::Answer ShortcutActions::disarm() {
    manager_.disarm(false);
    //: Shortcuts result
    return {tr("Nelvo is disarmed."), true};
}

bool ShortcutActions::isArmed(QString& dialog) const {
    dialog = manager_.armedStateDescription();
    return manager_.armedState().value_or(ArmState::unarmed) != ArmState::unarmed;
}

ShortcutActions::Answer ShortcutActions::recordTest() {
    // The manager refuses without a word; whether a test began tells.
    const bool runningBefore = manager_.isRecordingTest();
    if (!runningBefore) {
        manager_.startTestRecording();
    }
    if (!runningBefore && manager_.isRecordingTest()) {
        //: Shortcuts result
        return {tr("Nelvo is recording a test."), true};
    }
    //: Shortcuts result
    return {tr("Nelvo can't record a test right now."), false};
}

QString ShortcutActions::focus(bool armed) {
    Log::line(
        QStringLiteral("focus filter performed, armed=%1, manager=true").arg(boolText(armed)));
    manager_.focusChanged(armed);
    Log::line(QStringLiteral("after focusChanged: state=%1 armedByFocus=%2")
                  .arg(stateName(manager_.armedState()), boolText(manager_.armedByFocus())));
    return manager_.armedStateDescription();
}

QString ShortcutActions::notReadyText() {
    //: Intent error
    return tr("Nelvo isn't running yet.");
}

QString ShortcutActions::stateName(std::optional<ArmState> state) {
    if (!state) {
        return QStringLiteral("none");
    }
    switch (*state) {
        case ArmState::unarmed:
            return QStringLiteral("unarmed");
        case ArmState::arming:
            return QStringLiteral("arming");
        case ArmState::armed:
            return QStringLiteral("armed");
        case ArmState::recording:
            return QStringLiteral("recording");
    }
    return {};
}
