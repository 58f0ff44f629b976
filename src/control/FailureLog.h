#pragma once

#include "Error.h"
#include "QuietInterval.h"

#include <QDateTime>
#include <QString>

// Says in the log that a recording ended with an error. A failure that keeps
// repeating (a folder that cannot be written fails every trigger) is said at
// most once a minute, with how often it happened since it was last said.
// Main thread only.
class FailureLog {
public:
    static constexpr qint64 quietSeconds = 60;

    void fileFailed(const QString& fileName, const Error& error, const QDateTime& at);

private:
    QString lastDescription_;
    QuietInterval quiet_{std::chrono::seconds(quietSeconds)};
    qint64 unsaid_ = 0;  // repeats since the last line
    QDateTime firstUnsaid_;
};
