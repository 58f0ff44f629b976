#include "ArmedStretch.h"

#include "Defaults.h"
#include "SettingsKeys.h"

std::optional<QDateTime> ArmedStretch::since(const Defaults& defaults) {
    return defaults.date(SettingsKeys::armedStretchSince);
}

std::optional<ArmedStretch> ArmedStretch::last(const Defaults& defaults) {
    const auto from = defaults.date(SettingsKeys::armedStretchFrom);
    const auto to = defaults.date(SettingsKeys::armedStretchTo);
    if (!from || !to || *to < *from) {
        return std::nullopt;
    }
    return ArmedStretch{*from, *to};
}

void ArmedStretch::storeAsLast(Defaults& defaults) const {
    defaults.set(SettingsKeys::armedStretchFrom, from);
    defaults.set(SettingsKeys::armedStretchTo, to);
}
