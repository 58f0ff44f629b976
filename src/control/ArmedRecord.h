#pragma once

#include <QDateTime>
#include <optional>

class Defaults;

// The heartbeat of the armed state: the last moment Nelvo knew it was armed,
// and whether the schedule had armed it. Found at launch, it means Nelvo did
// not end cleanly. Stored as "armedRecordLastSeen" and "armedRecordBySchedule";
// it exists exactly while the first holds a date.
struct ArmedRecord {
    QDateTime lastSeen;
    bool bySchedule = false;

    static std::optional<ArmedRecord> load(const Defaults& defaults);
    void store(Defaults& defaults) const;
    static void remove(Defaults& defaults);

    friend bool operator==(const ArmedRecord&, const ArmedRecord&) = default;
};
