#pragma once

#include <QString>
#include <QStringList>
#include <QVariantMap>

// `nelvo status` in plain words, from the fields Nelvo answers (see
// NelvoStatus): the state, the notice, the last armed stretch, the levels of
// the last minute beside their thresholds, and the recording failures. The
// lines are safe to print: names from outside are escaped (PlainText).
namespace StatusText {

QStringList lines(const QVariantMap& status);

// A level or threshold as printed: a whole number, or one decimal when it has one.
QString number(double value);
// A recording failure (RecordingFailureReport's fields) as one line: its
// sentence and the time of the last failure.
QString failureLine(const QVariantMap& failure);
// A failure's time as the user reads dates: the time alone when it is today.
QString timeText(const QString& isoTime);

}  // namespace StatusText
