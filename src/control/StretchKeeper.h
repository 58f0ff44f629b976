#pragma once

#include "ArmedStretch.h"
#include "WhatHappened.h"

#include <QDateTime>
#include <functional>
#include <optional>

class Defaults;
class FileOutputManager;

// Closes armed stretches and keeps the last one worth keeping, with its
// events gathered from the recordings folder each time they are asked for.
// Main thread only.
class StretchKeeper {
public:
    StretchKeeper(Defaults& defaults, const FileOutputManager& files)
        : defaults_(defaults), files_(files) {}

    // Closes the stretch in progress at `end`, keeping it unless suppressed;
    // false when no stretch was in progress.
    bool end(const QDateTime& end, bool suppress);
    // Stores the stretch as the last one unless it is short and empty.
    void keep(const ArmedStretch& stretch);
    // The last kept stretch with its events as the folder holds them now.
    std::optional<WhatHappened> last() const;

    // Counts the stretches kept; `onKept` follows each.
    qint64 generation() const { return generation_; }
    std::function<void()> onKept;

private:
    std::vector<Event> eventsOf(const ArmedStretch& stretch) const;

    Defaults& defaults_;
    const FileOutputManager& files_;
    qint64 generation_ = 0;
};
