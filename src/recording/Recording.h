#pragma once

#include <QDateTime>
#include <QString>

// One file of the recordings folder as the folder listing reports it: a
// movie, its still, or any regular file named like a recording.
struct Recording {
    QString url;        // absolute path of the file
    QDateTime started;  // parsed from the file name
    qint64 bytes = 0;   // file size; 0 when unknown

    friend bool operator==(const Recording&, const Recording&) = default;
};
