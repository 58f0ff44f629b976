#pragma once

#include "LoginItem.h"

#include <QVariantMap>
#include <functional>

class RecordingManager;

// Nelvo's state as `nelvo status` shows it: the state and its text, the
// notice the popover would show, the last armed stretch's summary, the
// recording failures.
class NelvoStatus {
public:
    // What the status needs from outside the recording manager; either may
    // be absent (no power information, no way to ask about login).
    struct Sources {
        std::function<bool()> lidWouldStopWatching;
        std::function<LoginItem::State()> loginState;
    };

    // Keys: "state" (int, -1 for none), "armed" (bool), "description"; when
    // there are any, "notice", "summary" and "recordingFailure" (see
    // RecordingFailureReport::fieldsOf).
    static QVariantMap of(const RecordingManager& manager, const Sources& sources);
};
