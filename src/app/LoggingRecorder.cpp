#include "LoggingRecorder.h"

#include "Log.h"

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
