#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QStringList>
#include <QVariantMap>
#include <optional>

// KDE Plasma's Do Not Disturb: the notification server's "Inhibited"
// property (org.freedesktop.Notifications), read once without waiting and
// then followed through its PropertiesChanged signal.
class PlasmaDoNotDisturb : public QObject {
    Q_OBJECT

public:
    explicit PlasmaDoNotDisturb(QDBusConnection bus = QDBusConnection::sessionBus(),
                                QObject* parent = nullptr);

    // Whether Do Not Disturb is on; nothing until a server that has the
    // property answered.
    std::optional<bool> isOn() const { return inhibited_; }

Q_SIGNALS:
    void changed();

private Q_SLOTS:
    void propertiesChanged(const QString& interface, const QVariantMap& changed,
                           const QStringList& invalidated);

private:
    void readInhibited();
    void setInhibited(std::optional<bool> inhibited);

    QDBusConnection bus_;
    std::optional<bool> inhibited_;
};
