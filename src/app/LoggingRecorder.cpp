#include "LoggingRecorder.h"

#include "Log.h"

void LoggingRecorder::start(const QString& filePath, Completion onFinish) {
    Log::line(QStringLiteral("Recording to %1").arg(filePath));
    recorder_->start(filePath, logged(std::move(onFinish)));
}

void LoggingRecorder::roll(const QString& filePath, Completion onFinish) {
    Log::line(QStringLiteral("Continuing in %1").arg(filePath));
    recorder_->roll(filePath, logged(std::move(onFinish)));
}

MovieRecorder::Completion LoggingRecorder::logged(Completion onFinish) {
    return [onFinish = std::move(onFinish)](const QString& filePath, std::optional<Error> error) {
        if (!error) {
            Log::line(QStringLiteral("Finished %1").arg(filePath));
        }
        if (onFinish) {
            onFinish(filePath, std::move(error));
        }
    };
}
