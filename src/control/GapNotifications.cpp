#include "GapNotifications.h"

#include "RecordingManager.h"
#include "UserNotifications.h"

#include <QLocale>

namespace {

// A time alone on today's date, else the short date and time.
QString timeOrDateAndTime(const QDateTime& date, const QDateTime& now) {
    const QLocale locale;
    if (date.date() == now.date()) {
        return locale.toString(date.time(), QLocale::ShortFormat);
    }
    return locale.toString(date, QLocale::ShortFormat);
}

}  // namespace

GapNotifications::GapNotifications(RecordingManager& manager, UserNotifications& notifications,
                                   QObject* parent)
    : QObject(parent), manager_(manager), notifications_(notifications) {
    connect(&manager_, &RecordingManager::gapsChanged, this, &GapNotifications::gapsChanged);
    gapsChanged();
}

QString GapNotifications::quitUnexpectedlyBody(const QDateTime& at, const QDateTime& until,
                                               const QDateTime& now) {
    //: Notification body; the arguments are a time or a date and time
    return tr("Nelvo quit unexpectedly at %1 and wasn't watching until %2, so nothing was "
              "recorded in between.")
        .arg(timeOrDateAndTime(at, now), timeOrDateAndTime(until, now));
}

QString GapNotifications::sleepGapBody(const QDateTime& from, const QDateTime& to) {
    const QLocale locale;
    //: Notification body; the arguments are times
    return tr("Nelvo wasn't watching from %1 to %2, so nothing was recorded.")
        .arg(locale.toString(from.time(), QLocale::ShortFormat),
             locale.toString(to.time(), QLocale::ShortFormat));
}

void GapNotifications::gapsChanged() {
    const auto quitAt = manager_.quitUnexpectedlyAt();
    const auto quitUntil = manager_.quitUnexpectedlyUntil();
    if (quitAt && quitUntil && quitUntil != postedQuitUntil_) {
        //: Notification title
        notifications_.post(quitUnexpectedlyIdentifier, tr("Nelvo quit unexpectedly"),
                            quitUnexpectedlyBody(*quitAt, *quitUntil, manager_.now()));
    }
    postedQuitUntil_ = quitUntil;

    const auto gapFrom = manager_.notWatchingFrom();
    const auto gapUntil = manager_.notWatchingUntil();
    if (gapFrom && gapUntil && gapUntil != postedGapUntil_) {
        //: Notification title
        notifications_.post(sleepGapIdentifier, tr("Nelvo wasn't watching"),
                            sleepGapBody(*gapFrom, *gapUntil));
    }
    postedGapUntil_ = gapUntil;
}
