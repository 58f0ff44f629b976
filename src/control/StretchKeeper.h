#pragma once

#include "ArmedStretch.h"
#include "WhatHappened.h"

#include <QDateTime>
#include <functional>
#include <optional>

class Defaults;
class RecordingsListing;

// Closes armed stretches and keeps the last one worth keeping, with its
// events gathered from the last listing of the recordings folder each time
// they are asked for (the folder itself is never read here). Main thread only.
class StretchKeeper {
public:
    StretchKeeper(Defaults& defaults, const RecordingsListing& listing)
        : defaults_(defaults), listing_(listing) {}

    // A recording started in the stretch in progress: it is kept whatever
    // the listing has seen of it yet.
    void noteRecording() { recorded_ = true; }
    // Closes the stretch in progress at `end`, keeping it unless suppressed;
    // false when no stretch was in progress.
    bool end(const QDateTime& end, bool suppress);
    // Stores the stretch as the last one unless it is short and empty.
    void keep(const ArmedStretch& stretch);
    // The last kept stretch with its events as the folder was last seen.
    std::optional<WhatHappened> last() const;

    // Counts the stretches kept; `onKept` follows each.
    qint64 generation() const { return generation_; }
    std::function<void()> onKept;

private:
    std::vector<Event> eventsOf(const ArmedStretch& stretch) const;
    void store(const ArmedStretch& stretch);

    Defaults& defaults_;
    const RecordingsListing& listing_;
    bool recorded_ = false;
    qint64 generation_ = 0;
};
