#pragma once

#include <QDateTime>
#include <QString>

// One file of the recordings folder as the history needs it: where it is,
// when its recording started (from its name) and how large it is.
struct ListedRecording {
    QString path;
    QDateTime started;
    qint64 size = 0;
};
