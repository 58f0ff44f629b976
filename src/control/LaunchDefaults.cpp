#include "LaunchDefaults.h"

#include "Defaults.h"
#include "SettingsKeys.h"

namespace LaunchDefaults {

void registerDefaults(Defaults& defaults) {
    using namespace SettingsKeys;
    defaults.registerDefaults({
        {validateFirstlaunch, true},
        {motionTriggerEnabled, true},
        {audioTriggerEnabled, false},
        {audioTriggerThreshold, 70},
        {preRollSeconds, 5},
    });
}

bool writeFirstLaunchValues(Defaults& defaults) {
    using namespace SettingsKeys;
    if (!defaults.boolValue(validateFirstlaunch)) {
        return false;
    }
    // Written rather than registered, so they exist as real values from the
    // first launch on.
    defaults.set(validateFirstlaunch, false);
    defaults.set(motionTriggerThreshold, 50);
    defaults.set(timeoutValueInSeconds, 5);
    defaults.set(freshStartNoticePending, true);
    return true;
}

}  // namespace LaunchDefaults
