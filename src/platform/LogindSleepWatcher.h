#pragma once

#include <QDBusConnection>
#include <QDBusUnixFileDescriptor>
#include <QObject>
#include <memory>

class QDBusPendingCallWatcher;

// Tells Nelvo when the computer is about to sleep and when it woke, from
// logind's PrepareForSleep signal. A "delay" inhibitor is held while awake so
// that the will-sleep step runs before the machine sleeps; it is released
// right after `willSleep` has been handled and taken again on waking.
class LogindSleepWatcher : public QObject {
    Q_OBJECT

public:
    explicit LogindSleepWatcher(QDBusConnection bus = QDBusConnection::systemBus(),
                                QObject* parent = nullptr);
    ~LogindSleepWatcher() override;

    // Whether the delay inhibitor is held now.
    bool holdsDelay() const { return delay_.isValid(); }

Q_SIGNALS:
    // Connected handlers run before the delay is released.
    void willSleep();
    void didWake();
    void delayChanged();

private Q_SLOTS:
    void prepareForSleep(bool start);

private:
    void takeDelay();
    void releaseDelay();

    QDBusConnection bus_;
    QDBusUnixFileDescriptor delay_;
    std::unique_ptr<QDBusPendingCallWatcher> pendingDelay_;
};
