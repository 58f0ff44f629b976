#include "LogindSleepWatcher.h"

#include "Log.h"
#include "Logind.h"

#include <QCoreApplication>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>

LogindSleepWatcher::LogindSleepWatcher(QDBusConnection bus, QObject* parent)
    : QObject(parent), bus_(std::move(bus)) {
    if (!bus_.isConnected()) {
        return;
    }
    bus_.connect(Logind::service, Logind::path, Logind::managerInterface,
                 QStringLiteral("PrepareForSleep"), this, SLOT(prepareForSleep(bool)));
    takeDelay();
}

LogindSleepWatcher::~LogindSleepWatcher() = default;

void LogindSleepWatcher::prepareForSleep(bool start) {
    if (start) {
        Q_EMIT willSleep();
        releaseDelay();
        return;
    }
    takeDelay();
    Q_EMIT didWake();
}

void LogindSleepWatcher::takeDelay() {
    //: Why Nelvo briefly holds back sleep, as the system lists it (systemd-inhibit --list)
    const QString why = QCoreApplication::translate(
        "LogindSleepWatcher", "Nelvo notes when the computer goes to sleep while it is armed");
    pendingDelay_ = std::make_unique<QDBusPendingCallWatcher>(
        Logind::inhibit(bus_, QStringLiteral("sleep"), why, QStringLiteral("delay")));
    connect(pendingDelay_.get(), &QDBusPendingCallWatcher::finished, this, [this] {
        QDBusPendingReply<QDBusUnixFileDescriptor> reply = *pendingDelay_;
        if (reply.isError()) {
            Log::line(QStringLiteral("Cannot hold back sleep to note it: %1")
                          .arg(reply.error().message()));
        } else {
            delay_ = reply.value();
            Q_EMIT delayChanged();
        }
        pendingDelay_.release()->deleteLater();
    });
}

void LogindSleepWatcher::releaseDelay() {
    pendingDelay_.reset();
    delay_ = QDBusUnixFileDescriptor();
    Q_EMIT delayChanged();
}
