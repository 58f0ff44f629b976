#pragma once

#include "FileOutputManager.h"

#include <QDateTime>
#include <QFile>
#include <QString>

// A recordings folder with one movie a minute from `start`, each `bytes` long
// as a sparse file (its size counts, the disk is not filled). False when a
// file could not be made.
inline bool writeMinuteRecordings(const QString& folder, const QDateTime& start, int count,
                                  qint64 bytes) {
    for (int i = 0; i < count; ++i) {
        const QDateTime started = start.addSecs(qint64(i) * 60);
        QFile file(folder + u'/' +
                   FileOutputManager::recordingName(started, QStringLiteral("Desk"),
                                                    QStringLiteral("Mic")) +
                   QStringLiteral(".mov"));
        if (!file.open(QIODevice::WriteOnly) || !file.resize(bytes)) {
            return false;
        }
    }
    return true;
}
