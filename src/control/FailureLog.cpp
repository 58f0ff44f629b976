#include "FailureLog.h"

#include "Log.h"

#include <QLocale>

void FailureLog::fileFailed(const QString& fileName, const Error& error, const QDateTime& at) {
    const std::chrono::milliseconds when(at.toMSecsSinceEpoch());
    const bool repeat = error.description == lastDescription_ && quiet_.isQuiet(when);
    if (repeat) {
        if (unsaid_ == 0) {
            firstUnsaid_ = at;
        }
        ++unsaid_;
        return;
    }
    QString line =
        QStringLiteral("Recording %1 ended with an error: %2").arg(fileName, error.description);
    if (unsaid_ > 0 && error.description == lastDescription_) {
        line +=
            QStringLiteral(" (%1 times since %2)")
                .arg(unsaid_ + 1)
                .arg(QLocale::c().toString(firstUnsaid_.toLocalTime(), QStringLiteral("HH:mm:ss")));
    }
    Log::line(line);
    lastDescription_ = error.description;
    quiet_.said(when);
    unsaid_ = 0;
}
