#include "ScriptingWatch.h"

#include "ArmedStateValue.h"
#include "ScriptingService.h"

#include <QDBusArgument>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QDBusVariant>
#include <QJsonDocument>
#include <QJsonObject>

namespace {
const QString service = QStringLiteral("io.nelvo.Nelvo");
const QString path = QStringLiteral("/io/nelvo/Nelvo");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

ArmedStateValue armedStateOf(const QVariant& value) {
    ArmedStateValue state;
    if (value.canConvert<QDBusArgument>()) {
        value.value<QDBusArgument>() >> state;
    } else {
        state = value.value<ArmedStateValue>();
    }
    return state;
}
}  // namespace

ScriptingWatch::ScriptingWatch(QDBusConnection bus, bool json, QObject* parent)
    : QObject(parent), bus_(std::move(bus)), json_(json) {
    ArmedStateValue::registerType();
}

bool ScriptingWatch::start() {
    // Listening first, so no change between the reading and the listening is lost.
    bus_.connect(service, path, propertiesInterface, QStringLiteral("PropertiesChanged"), this,
                 SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
    bus_.connect(service, path, ScriptingService::interfaceName,
                 QStringLiteral("RecordingFinished"), this, SLOT(recordingFinished(QString)));
    auto* watcher =
        new QDBusServiceWatcher(service, bus_, QDBusServiceWatcher::WatchForUnregistration, this);
    connect(watcher, &QDBusServiceWatcher::serviceUnregistered, this, &ScriptingWatch::ended);

    QDBusMessage get =
        QDBusMessage::createMethodCall(service, path, propertiesInterface, QStringLiteral("Get"));
    get << ScriptingService::interfaceName << QStringLiteral("ArmedState");
    const QDBusMessage reply = bus_.call(get, QDBus::Block, 5000);
    if (reply.type() != QDBusMessage::ReplyMessage || reply.arguments().isEmpty()) {
        return false;
    }
    const ArmedStateValue state =
        armedStateOf(reply.arguments().constFirst().value<QDBusVariant>().variant());
    printState(state.raw, state.description);
    return true;
}

void ScriptingWatch::propertiesChanged(const QString& interface, const QVariantMap& changed,
                                       const QStringList&) {
    if (interface != ScriptingService::interfaceName ||
        !changed.contains(QStringLiteral("ArmedState"))) {
        return;
    }
    const ArmedStateValue state = armedStateOf(changed.value(QStringLiteral("ArmedState")));
    printState(state.raw, state.description);
}

void ScriptingWatch::recordingFinished(const QString& filePath) {
    print(
        {{QStringLiteral("event"), QStringLiteral("finished")}, {QStringLiteral("path"), filePath}},
        QStringLiteral("Finished %1").arg(filePath));
}

void ScriptingWatch::printState(int raw, const QString& description) {
    print({{QStringLiteral("event"), QStringLiteral("state")},
           {QStringLiteral("state"), raw},
           {QStringLiteral("description"), description}},
          description);
}

void ScriptingWatch::print(const QVariantMap& event, const QString& plain) {
    if (json_) {
        out_ << QJsonDocument(QJsonObject::fromVariantMap(event)).toJson(QJsonDocument::Compact);
    } else {
        out_ << plain;
    }
    out_ << '\n' << Qt::flush;
}
