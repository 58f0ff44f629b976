#pragma once

#include "ScriptingService.h"

#include <QDBusConnection>
#include <QDBusContext>
#include <QObject>
#include <QStringList>
#include <QVariantMap>

// Nelvo's place on the session bus. Owning the name io.nelvo.Nelvo keeps one
// Nelvo per user; the desktop's application interface on it is how
// launchers, docks and D-Bus activation reach the running Nelvo. The same
// object carries Nelvo's scripting interface (its base).
class ApplicationService : public ScriptingService, protected QDBusContext {
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Application")

public:
    enum class Registration { registered, alreadyRunning, noBus };

    static inline const QString serviceName = QStringLiteral("io.nelvo.Nelvo");
    static inline const QString objectPath = QStringLiteral("/io/nelvo/Nelvo");

    explicit ApplicationService(QDBusConnection bus = QDBusConnection::sessionBus(),
                                QObject* parent = nullptr);
    ~ApplicationService() override;

    // Takes the name and offers the interface; done once, before the event
    // loop starts, so nothing else waits on it.
    Registration registerOnBus();

    // Asks the Nelvo that owns the name to show itself; false when none answered.
    static bool activateRunningInstance(QDBusConnection bus = QDBusConnection::sessionBus());

public Q_SLOTS:
    void Activate(const QVariantMap& platformData);
    void Open(const QStringList& uris, const QVariantMap& platformData);
    void ActivateAction(const QString& actionName, const QVariantList& parameter,
                        const QVariantMap& platformData);

Q_SIGNALS:
    // The user (through the desktop) asked to see Nelvo.
    void activated();
    // The desktop's "quit" action: quitting as from Nelvo's own menu.
    void quitRequested();

private:
    QDBusConnection bus_;
    bool registered_ = false;
};
