#include "StatusText.h"

#include "PlainText.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QLocale>
#include <QVariantList>
#include <cmath>

namespace StatusText {

namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("StatusText", text);
}

QString thresholdText(double threshold, bool enabled) {
    //: nelvo status: %1 is the threshold; the second form when the trigger is off
    return enabled ? tr("threshold %1").arg(number(threshold))
                   : tr("threshold %1, turned off").arg(number(threshold));
}

QStringList levelLines(const QVariantMap& status) {
    QStringList lines;
    for (const QVariant& entry : status.value(QStringLiteral("cameras")).toList()) {
        const QVariantMap camera = entry.toMap();
        if (!camera.contains(QStringLiteral("motionPeak"))) {
            continue;
        }
        //: nelvo status: %1 camera name, %2 level, %3 threshold text
        lines << tr("Motion on %1: highest %2 in the last minute, %3")
                     .arg(PlainText::escaped(camera.value(QStringLiteral("name")).toString()),
                          number(camera.value(QStringLiteral("motionPeak")).toDouble()),
                          thresholdText(
                              camera.value(QStringLiteral("motionThreshold")).toDouble(),
                              camera.value(QStringLiteral("motionTriggerEnabled")).toBool()));
    }
    const QVariantMap microphone = status.value(QStringLiteral("microphone")).toMap();
    if (microphone.contains(QStringLiteral("soundPeak"))) {
        //: nelvo status: %1 microphone name, %2 level, %3 threshold text
        lines << tr("Sound on %1: loudest %2 in the last minute, %3")
                     .arg(PlainText::escaped(microphone.value(QStringLiteral("name")).toString()),
                          number(microphone.value(QStringLiteral("soundPeak")).toDouble()),
                          thresholdText(
                              microphone.value(QStringLiteral("soundThreshold")).toDouble(),
                              microphone.value(QStringLiteral("soundTriggerEnabled")).toBool()));
    }
    return lines;
}

}  // namespace

QString number(double value) {
    return QString::number(std::round(value * 10) / 10);
}

QString failureLine(const QVariantMap& failure) {
    //: nelvo status and watch: %1 the failure's sentence, %2 the time of the last failure
    return tr("%1 (the last at %2)")
        .arg(failure.value(QStringLiteral("notice")).toString(),
             timeText(failure.value(QStringLiteral("at")).toString()));
}

QString timeText(const QString& isoTime) {
    const QDateTime at = QDateTime::fromString(isoTime, Qt::ISODateWithMs).toLocalTime();
    if (!at.isValid()) {
        return isoTime;
    }
    const QLocale locale;
    if (at.date() == QDate::currentDate()) {
        return locale.toString(at.time(), QLocale::ShortFormat);
    }
    return locale.toString(at, QLocale::ShortFormat);
}

// Nelvo's own sentences may hold line breaks; each line of them is escaped
// alone, so only the breaks Nelvo wrote survive.
static QStringList ownLines(const QString& text) {
    QStringList lines;
    for (const QString& line : text.split(u'\n')) {
        lines << PlainText::escaped(line);
    }
    return lines;
}

QStringList lines(const QVariantMap& status) {
    QStringList lines = ownLines(status.value(QStringLiteral("description")).toString());
    const QVariantMap failure = status.value(QStringLiteral("recordingFailure")).toMap();
    const QString failureNotice = failure.value(QStringLiteral("notice")).toString();
    // The popover's notice may be the failure's own sentence: it is said once, with its time.
    const QString notice = status.value(QStringLiteral("notice")).toString();
    if (!notice.isEmpty() && notice != failureNotice) {
        lines << ownLines(notice);
    }
    if (status.contains(QStringLiteral("summary"))) {
        lines << ownLines(status.value(QStringLiteral("summary")).toString());
    }
    lines << levelLines(status);
    if (!failure.isEmpty()) {
        lines << ownLines(failureLine(failure));
    }
    return lines;
}

}  // namespace StatusText
