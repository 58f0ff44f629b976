#include "LoggingRecorder.h"

#include "FileOutputManager.h"
#include "HeapTrim.h"
#include "Log.h"
#include "MainThread.h"
#include "PlainText.h"

#include <QHash>

namespace {

// Enough for the files of the last few recordings; older ones are forgotten.
constexpr qsizetype rememberedFiles = 16;

QHash<QString, double>& preRolls() {
    static QHash<QString, double> byPath;
    return byPath;
}

void remember(const QString& filePath, double preRoll) {
    if (preRolls().size() >= rememberedFiles) {
        preRolls().clear();
    }
    preRolls().insert(filePath, preRoll);
}

}  // namespace

QDateTime LoggingRecorder::startDate() {
    const QDateTime now = QDateTime::currentDateTimeUtc();
    const QDateTime start = recorder_->startDate();
    preRoll_ = start.msecsTo(now) / 1000.0;
    return start;
}

void LoggingRecorder::start(const QString& filePath, Completion onFinish) {
    Log::line(QStringLiteral("Recording to %1").arg(PlainText::escaped(filePath)));
    if (preRoll_) {
        remember(filePath, *preRoll_);
    }
    recorder_->start(filePath, logged(std::move(onFinish)));
}

void LoggingRecorder::roll(const QString& filePath, Completion onFinish) {
    Log::line(QStringLiteral("Continuing in %1").arg(PlainText::escaped(filePath)));
    recorder_->roll(filePath, logged(std::move(onFinish)));
}

std::optional<double> LoggingRecorder::preRollOf(const QString& filePath) {
    const auto found = preRolls().constFind(filePath);
    return found == preRolls().cend() ? std::nullopt : std::optional(*found);
}

MovieRecorder::Completion LoggingRecorder::logged(Completion onFinish) const {
    return [onFinish = std::move(onFinish), onFinished = onFinished_](const QString& filePath,
                                                                      std::optional<Error> error) {
        if (!error) {
            // Named as the file now is, after any rename for lost frames.
            const QString finished = FileOutputManager::finishedPath(filePath);
            Log::line(QStringLiteral("Finished %1").arg(PlainText::escaped(finished)));
            // The recording's buffers are free now; give their pages back.
            HeapTrim::returnFreeMemory();
            if (finished != filePath) {
                MainThread::post([filePath, finished] {
                    if (const std::optional<double> preRoll = preRollOf(filePath)) {
                        remember(finished, *preRoll);
                    }
                });
            }
            if (onFinished) {
                onFinished(finished);
            }
        }
        if (onFinish) {
            onFinish(filePath, std::move(error));
        }
    };
}
