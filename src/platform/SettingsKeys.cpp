#include "SettingsKeys.h"

#include <algorithm>
#include <cmath>

namespace SettingsKeys {

double clampedPreRollSeconds(double stored) {
    if (std::isnan(stored)) {
        return 0;
    }
    return std::clamp(stored, 0.0, 30.0);
}

}  // namespace SettingsKeys
