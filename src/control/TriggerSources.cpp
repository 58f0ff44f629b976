#include "TriggerSources.h"

#include "Defaults.h"
#include "SettingsKeys.h"

bool TriggerSources::canFire() const {
    return (motionCanFire() && !motionDetectionStopped_) || soundCanFire();
}

bool TriggerSources::ruleCanArm() const {
    return motionCanFire() || soundCanFire();
}

bool TriggerSources::motionCanFire() const {
    return defaults_.boolValue(SettingsKeys::motionTriggerEnabled) && cameraAvailable_;
}

bool TriggerSources::soundCanFire() const {
    return defaults_.boolValue(SettingsKeys::audioTriggerEnabled) && microphoneAvailable_;
}
