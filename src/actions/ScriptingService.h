#pragma once

#include "ArmedStateValue.h"
#include "NelvoStatus.h"
#include "RecordingFailureReport.h"
#include "TestReport.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <memory>
#include <optional>

class LevelMonitor;
class RecordingManager;
class ShortcutActions;

// Nelvo's scripting interface io.nelvo.Nelvo1, offered on Nelvo's one object
// on the session bus (the object derives from this class; the interface is
// its adaptor, generated from io.nelvo.Nelvo1.xml). Until the recording
// manager is installed the interface is absent, so callers learn that Nelvo
// isn't running yet. Every call runs on the main thread, where the D-Bus
// messages are delivered.
class ScriptingService : public QObject {
    Q_OBJECT
    Q_PROPERTY(ArmedStateValue ArmedState READ armedStateValue)

public:
    static inline const QString interfaceName = QStringLiteral("io.nelvo.Nelvo1");

    ScriptingService(QDBusConnection bus, QString objectPath, QObject* parent = nullptr);
    ~ScriptingService() override;

    // What the interface tells beside the recording manager's state; any part may be absent.
    struct Sources {
        NelvoStatus::Sources status;
        // The levels measured lately, for the status and the test's report.
        LevelMonitor* levels = nullptr;
        TestReport::PreRollLookup preRollOf;
    };

    // The manager is ready: the interface appears on the object.
    void installManager(RecordingManager& manager, Sources sources);
    bool hasManager() const { return manager_ != nullptr; }
    // The actions on the installed manager; nullptr before.
    ShortcutActions* actions() const { return actions_.get(); }

    // The methods of io.nelvo.Nelvo1, called by its adaptor.
    QString Arm(bool& done);
    QString Disarm(bool& done);
    bool IsArmed(QString& dialog);
    QString RecordTest(bool& done);
    QString SetFocus(bool armed);
    QVariantMap GetStatus();
    ArmedStateValue armedStateValue() const;

    // The desktop's actions "arm", "disarm" and "record-test"; false for any
    // other. Asked before the manager is installed (the action started Nelvo
    // through the bus), an action waits and is carried out once it is.
    bool performAction(const QString& name);
    static bool isActionName(const QString& name);

    // A recording's file is finished under `path`.
    void fileFinished(const QString& path);

Q_SIGNALS:
    void RecordingFinished(const QString& path);
    void RecordingFailureChanged(const QVariantMap& failure);
    void TestRecordingFinished(const QVariantMap& report);

private:
    void announceArmedState();

    QDBusConnection scriptingBus_;
    QString objectPath_;
    RecordingManager* manager_ = nullptr;
    std::unique_ptr<ShortcutActions> actions_;
    std::unique_ptr<RecordingFailureReport> failureReport_;
    std::unique_ptr<TestReport> testReport_;
    NelvoStatus::Sources sources_;
    LevelMonitor* levels_ = nullptr;
    std::optional<ArmedStateValue> announced_;
    QStringList pendingActions_;
};
