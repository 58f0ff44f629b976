#include "ScriptingService.h"

#include "LevelMonitor.h"
#include "Log.h"
#include "RecordingManager.h"
#include "ShortcutActions.h"
#include "nelvo1adaptor.h"

#include <QDBusMessage>

ScriptingService::ScriptingService(QDBusConnection bus, QString objectPath, QObject* parent)
    : QObject(parent), scriptingBus_(std::move(bus)), objectPath_(std::move(objectPath)) {
    ArmedStateValue::registerType();
}

ScriptingService::~ScriptingService() = default;

void ScriptingService::installManager(RecordingManager& manager, Sources sources) {
    if (manager_) {
        return;
    }
    manager_ = &manager;
    sources_ = std::move(sources.status);
    levels_ = sources.levels;
    actions_ = std::make_unique<ShortcutActions>(manager);
    // Without a tray the log is where a failure shows; scripts hear it too.
    failureReport_ = std::make_unique<RecordingFailureReport>(manager);
    connect(failureReport_.get(), &RecordingFailureReport::told, this,
            [this](const QVariantMap& fields, const QString& line) {
                Log::line(line);
                Q_EMIT RecordingFailureChanged(fields);
            });
    testReport_ =
        std::make_unique<TestReport>(manager, sources.levels, std::move(sources.preRollOf));
    connect(testReport_.get(), &TestReport::finished, this,
            &ScriptingService::TestRecordingFinished);
    announced_ = armedStateValue();
    // The countdown's ticks, who armed and the schedule change the text
    // alone; state and text are the one property, announced when either changes.
    for (auto changed :
         {&RecordingManager::armedStateRawChanged, &RecordingManager::armedStateDescriptionChanged,
          &RecordingManager::armedByChanged, &RecordingManager::scheduleGenerationChanged}) {
        connect(&manager, changed, this, &ScriptingService::announceArmedState);
    }
    new Nelvo1Adaptor(this);
    for (const QString& name : std::exchange(pendingActions_, {})) {
        performAction(name);
    }
}

void ScriptingService::fileFinished(const QString& path) {
    if (testReport_) {
        testReport_->fileFinished(path);
    }
    Q_EMIT RecordingFinished(path);
}

QString ScriptingService::Arm(bool& done) {
    const ShortcutActions::Answer answer = actions_->arm();
    done = answer.done;
    return answer.dialog;
}

QString ScriptingService::Disarm(bool& done) {
    const ShortcutActions::Answer answer = actions_->disarm();
    done = answer.done;
    return answer.dialog;
}

bool ScriptingService::IsArmed(QString& dialog) {
    return actions_->isArmed(dialog);
}

QString ScriptingService::RecordTest(bool& done) {
    const ShortcutActions::Answer answer = actions_->recordTest();
    done = answer.done;
    return answer.dialog;
}

QString ScriptingService::SetFocus(bool armed) {
    return actions_->focus(armed);
}

QVariantMap ScriptingService::GetStatus() {
    QVariantMap status = NelvoStatus::of(*manager_, sources_);
    if (levels_) {
        status.insert(levels_->lastMinute());
    }
    return status;
}

ArmedStateValue ScriptingService::armedStateValue() const {
    if (!manager_) {
        return {};
    }
    return {ArmedStateValue::rawOf(manager_->armedState()), manager_->armedStateDescription()};
}

bool ScriptingService::isActionName(const QString& name) {
    return name == QStringLiteral("arm") || name == QStringLiteral("disarm") ||
           name == QStringLiteral("record-test");
}

bool ScriptingService::performAction(const QString& name) {
    if (!isActionName(name)) {
        return false;
    }
    if (!manager_) {
        // A launcher's action is what started Nelvo: it is carried out once Nelvo is ready.
        pendingActions_ << name;
        Log::line(QStringLiteral("Desktop action %1: waiting until Nelvo is ready").arg(name));
        return true;
    }
    bool done = false;
    const QString dialog = name == QStringLiteral("arm")      ? Arm(done)
                           : name == QStringLiteral("disarm") ? Disarm(done)
                                                              : RecordTest(done);
    // A launcher shows no answer; the log keeps it.
    Log::line(QStringLiteral("Desktop action %1: %2").arg(name, dialog));
    return true;
}

// Properties of adaptors are not announced by Qt; the standard signal is sent here.
void ScriptingService::announceArmedState() {
    const ArmedStateValue value = armedStateValue();
    if (announced_ == value) {
        return;
    }
    announced_ = value;
    QDBusMessage signal =
        QDBusMessage::createSignal(objectPath_, QStringLiteral("org.freedesktop.DBus.Properties"),
                                   QStringLiteral("PropertiesChanged"));
    signal << interfaceName
           << QVariantMap{{QStringLiteral("ArmedState"), QVariant::fromValue(value)}}
           << QStringList();
    scriptingBus_.send(signal);
}
