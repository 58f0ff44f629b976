#include "ArmedRecord.h"

#include "Defaults.h"
#include "SettingsKeys.h"

std::optional<ArmedRecord> ArmedRecord::load(const Defaults& defaults) {
    const auto lastSeen = defaults.date(SettingsKeys::armedRecordLastSeen);
    if (!lastSeen) {
        return std::nullopt;
    }
    return ArmedRecord{*lastSeen, defaults.boolValue(SettingsKeys::armedRecordBySchedule)};
}

void ArmedRecord::store(Defaults& defaults) const {
    defaults.set(SettingsKeys::armedRecordLastSeen, lastSeen);
    defaults.set(SettingsKeys::armedRecordBySchedule, bySchedule);
}

void ArmedRecord::remove(Defaults& defaults) {
    defaults.remove(SettingsKeys::armedRecordLastSeen);
    defaults.remove(SettingsKeys::armedRecordBySchedule);
}
