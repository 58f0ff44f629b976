#pragma once

#include <QDateTime>
#include <optional>

class Defaults;

// One period during which Nelvo was armed. The stretch in progress is stored
// as "armedStretchSince"; the last kept one as "armedStretchFrom" and
// "armedStretchTo".
struct ArmedStretch {
    QDateTime from;
    QDateTime to;

    qint64 seconds() const { return from.secsTo(to); }

    // The start of the stretch in progress, when one is stored.
    static std::optional<QDateTime> since(const Defaults& defaults);
    // The last kept stretch; none unless both ends are dates and `to` is not
    // before `from`.
    static std::optional<ArmedStretch> last(const Defaults& defaults);
    void storeAsLast(Defaults& defaults) const;

    friend bool operator==(const ArmedStretch&, const ArmedStretch&) = default;
};
