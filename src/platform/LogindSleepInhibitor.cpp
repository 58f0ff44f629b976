#include "LogindSleepInhibitor.h"

#include "Log.h"
#include "Logind.h"

#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusUnixFileDescriptor>

namespace {

void reportOnce(bool& reported, const QString& why) {
    if (reported) {
        return;
    }
    reported = true;
    Log::line(QStringLiteral("Nelvo cannot keep the computer awake: %1").arg(why));
}

}  // namespace

// Holds logind's file descriptor from the moment the reply arrives until it is
// destroyed; destroyed before the reply, the descriptor is closed on arrival.
class LogindSleepInhibitor::LogindInhibition : public SleepInhibitor::Inhibition {
public:
    LogindInhibition(QDBusPendingCall call, std::shared_ptr<bool> reported)
        : watcher_(std::move(call)) {
        QObject::connect(&watcher_, &QDBusPendingCallWatcher::finished, [this, reported] {
            QDBusPendingReply<QDBusUnixFileDescriptor> reply = watcher_;
            if (reply.isError()) {
                reportOnce(*reported, reply.error().message());
                return;
            }
            descriptor_ = reply.value();
        });
    }

private:
    QDBusPendingCallWatcher watcher_;
    QDBusUnixFileDescriptor descriptor_;
};

LogindSleepInhibitor::LogindSleepInhibitor(QDBusConnection bus) : bus_(std::move(bus)) {}

LogindSleepInhibitor::~LogindSleepInhibitor() = default;

std::unique_ptr<SleepInhibitor::Inhibition> LogindSleepInhibitor::begin(const QString& reason) {
    if (!bus_.isConnected()) {
        reportUnavailable(QStringLiteral("there is no system bus"));
        return nullptr;
    }
    return std::make_unique<LogindInhibition>(
        Logind::inhibit(bus_, QStringLiteral("sleep:idle"), reason, QStringLiteral("block")),
        reported_);
}

void LogindSleepInhibitor::reportUnavailable(const QString& why) {
    reportOnce(*reported_, why);
}
