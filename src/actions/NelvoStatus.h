#pragma once

#include "LoginItem.h"

#include <QVariantMap>
#include <functional>

class RecordingManager;

// Nelvo's state as `nelvo status` shows it: the state and its text, the
// notice the popover would show, and the last armed stretch's summary.
class NelvoStatus {
public:
    // What the status needs from outside the recording manager; either may
    // be absent (no power information, no way to ask about login).
    struct Sources {
        std::function<bool()> lidWouldStopWatching;
        std::function<LoginItem::State()> loginState;
    };

    // Keys: "state" (int, -1 for none), "armed" (bool), "description"; and,
    // when there are any, "notice" and "summary".
    static QVariantMap of(const RecordingManager& manager, const Sources& sources);
};
