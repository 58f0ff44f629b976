#include "MovieStill.h"

#include "FileOutputManager.h"
#include "Log.h"
#include "StillWriter.h"

#include <QFile>

void MovieStill::movieOpened(bool owed) {
    owed_ = owed;
    writtenBeside_.reset();
}

void MovieStill::writeIfOwed(const QString& moviePath) {
    if (!owed_ || !newestFrame_) {
        return;
    }
    owed_ = false;
    writtenBeside_ = moviePath;
    queue_.async([frame = newestFrame_, path = FileOutputManager::stillPath(moviePath)] {
        if (!StillWriter::write(frame.get(), path)) {
            Log::line(QStringLiteral("Could not write the still ") + path);
        }
    });
}

void MovieStill::removeWritten() {
    if (writtenBeside_) {
        queue_.async(
            [still = FileOutputManager::stillPath(*writtenBeside_)] { QFile::remove(still); });
    }
}

void MovieStill::movieClosed() {
    owed_ = false;
    writtenBeside_.reset();
}
