#include "ScriptingService.h"

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

void ScriptingService::installManager(RecordingManager& manager, NelvoStatus::Sources sources) {
    if (manager_) {
        return;
    }
    manager_ = &manager;
    sources_ = std::move(sources);
    actions_ = std::make_unique<ShortcutActions>(manager);
    announced_ = armedStateValue();
    // The countdown's ticks, who armed and the schedule change the text
    // alone; state and text are the one property, announced when either changes.
    for (auto changed :
         {&RecordingManager::armedStateRawChanged, &RecordingManager::armedStateDescriptionChanged,
          &RecordingManager::armedByChanged, &RecordingManager::scheduleGenerationChanged}) {
        connect(&manager, changed, this, &ScriptingService::announceArmedState);
    }
    new Nelvo1Adaptor(this);
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
    return NelvoStatus::of(*manager_, sources_);
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
    if (!manager_ || !isActionName(name)) {
        return false;
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
