#include "StretchKeeper.h"

#include "Defaults.h"
#include "RecordingsListing.h"
#include "SettingsKeys.h"

#include <limits>
#include <utility>

bool StretchKeeper::end(const QDateTime& end, bool suppress) {
    const std::optional<QDateTime> since = ArmedStretch::since(defaults_);
    if (!since) {
        return false;
    }
    defaults_.remove(SettingsKeys::armedStretchSince);
    const bool recorded = std::exchange(recorded_, false);
    if (!suppress) {
        if (recorded) {
            store({*since, end});
        } else {
            keep({*since, end});
        }
    }
    return true;
}

void StretchKeeper::keep(const ArmedStretch& stretch) {
    // A short stretch with nothing in it leaves no trace.
    constexpr qint64 shortestKeptMs = 600 * 1000;
    if (stretch.from.msecsTo(stretch.to) < shortestKeptMs && eventsOf(stretch).empty()) {
        return;
    }
    store(stretch);
}

void StretchKeeper::store(const ArmedStretch& stretch) {
    stretch.storeAsLast(defaults_);
    if (generation_ == std::numeric_limits<qint64>::max()) {
        qFatal("The stretch generation overflowed");
    }
    generation_ += 1;
    if (onKept) {
        onKept();
    }
}

std::optional<WhatHappened> StretchKeeper::last() const {
    const std::optional<ArmedStretch> last = ArmedStretch::last(defaults_);
    if (!last) {
        return std::nullopt;
    }
    return WhatHappened{*last, eventsOf(*last)};
}

std::vector<Event> StretchKeeper::eventsOf(const ArmedStretch& stretch) const {
    const double preRoll =
        SettingsKeys::clampedPreRollSeconds(defaults_.real(SettingsKeys::preRollSeconds));
    return WhatHappened::eventsOf(listing_.recordings(), stretch, preRoll);
}
