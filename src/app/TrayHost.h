#pragma once

#include <QDBusConnection>
#include <QDBusServiceWatcher>
#include <QObject>

// Whether the desktop has a tray for Nelvo's icon, followed for the whole
// session: the panel's tray host (a StatusNotifierWatcher on the session bus)
// may start after Nelvo when both open at login, and may leave and come back
// when the panel restarts. An X11 tray of the older kind (XEmbed) counts
// only when no tray host was there at launch, since the toolkit picks one
// kind of tray once per process.
class TrayHost : public QObject {
    Q_OBJECT

public:
    static inline const QString watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");

    explicit TrayHost(QDBusConnection bus = QDBusConnection::sessionBus(),
                      QObject* parent = nullptr);

    // Known once the bus has answered (without waiting for it here).
    bool known() const { return known_; }
    bool available() const { return watcherPresent_ || xembedTray_; }

Q_SIGNALS:
    // The first answer, then every change.
    void availableChanged(bool available);

private:
    void answered(bool watcherPresent);
    void setWatcherPresent(bool present);

    QDBusServiceWatcher watcher_;
    bool known_ = false;
    bool watcherPresent_ = false;
    bool xembedTray_ = false;
};
