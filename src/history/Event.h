#pragma once

#include <QDateTime>
#include <QStringList>

// One trigger seen in an armed stretch: when its first file started, and the
// files (every camera's movie and the still) that belong to it.
struct Event {
    QDateTime started;
    QStringList files;

    friend bool operator==(const Event&, const Event&) = default;
};
