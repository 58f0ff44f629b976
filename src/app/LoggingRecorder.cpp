#include "LoggingRecorder.h"

#include "FileOutputManager.h"
#include "Log.h"

void LoggingRecorder::start(const QString& filePath, Completion onFinish) {
    Log::line(QStringLiteral("Recording to %1").arg(filePath));
    recorder_->start(filePath, logged(std::move(onFinish)));
}

void LoggingRecorder::roll(const QString& filePath, Completion onFinish) {
    Log::line(QStringLiteral("Continuing in %1").arg(filePath));
    recorder_->roll(filePath, logged(std::move(onFinish)));
}

MovieRecorder::Completion LoggingRecorder::logged(Completion onFinish) const {
    return [onFinish = std::move(onFinish), onFinished = onFinished_](const QString& filePath,
                                                                      std::optional<Error> error) {
        if (!error) {
            // Named as the file now is, after any rename for lost frames.
            const QString finished = FileOutputManager::finishedPath(filePath);
            Log::line(QStringLiteral("Finished %1").arg(finished));
            if (onFinished) {
                onFinished(finished);
            }
        }
        if (onFinish) {
            onFinish(filePath, std::move(error));
        }
    };
}
