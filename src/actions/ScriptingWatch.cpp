#include "ScriptingWatch.h"

#include "ArmedStateValue.h"
#include "PlainText.h"
#include "RecordingFailureReport.h"
#include "ScriptingReply.h"
#include "ScriptingService.h"
#include "StatusText.h"

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

ScriptingCall ScriptingWatch::start() {
    // Listening first, so no change between the reading and the listening is lost.
    bus_.connect(service, path, propertiesInterface, QStringLiteral("PropertiesChanged"), this,
                 SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
    bus_.connect(service, path, ScriptingService::interfaceName,
                 QStringLiteral("RecordingFinished"), this, SLOT(recordingFinished(QString)));
    bus_.connect(service, path, ScriptingService::interfaceName,
                 QStringLiteral("RecordingFailureChanged"), this,
                 SLOT(recordingFailureChanged(QDBusMessage)));
    auto* watcher =
        new QDBusServiceWatcher(service, bus_, QDBusServiceWatcher::WatchForUnregistration, this);
    connect(watcher, &QDBusServiceWatcher::serviceUnregistered, this, &ScriptingWatch::ended);

    QDBusMessage get =
        QDBusMessage::createMethodCall(service, path, propertiesInterface, QStringLiteral("Get"));
    get << ScriptingService::interfaceName << QStringLiteral("ArmedState");
    const ScriptingCall call = ScriptingCall::send(bus_, get);
    if (!call.answered() || call.arguments().isEmpty()) {
        return call;
    }
    const ArmedStateValue state =
        armedStateOf(call.arguments().constFirst().value<QDBusVariant>().variant());
    printState(state.raw, state.description);
    // A failure that began before the watch is told as it starts.
    const ScriptingCall status =
        ScriptingCall::send(bus_, ScriptingCall::methodCall(QStringLiteral("GetStatus")));
    if (status.answered()) {
        const QVariantMap failure = ScriptingReply::plain(status.arguments().value(0))
                                        .toMap()
                                        .value(QStringLiteral("recordingFailure"))
                                        .toMap();
        if (!failure.isEmpty()) {
            printFailure(failure);
        }
    }
    return call;
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
        QStringLiteral("Finished %1").arg(PlainText::escaped(filePath)));
}

void ScriptingWatch::recordingFailureChanged(const QDBusMessage& message) {
    printFailure(ScriptingReply::plain(message.arguments().value(0)).toMap());
}

void ScriptingWatch::printState(int raw, const QString& description) {
    print({{QStringLiteral("event"), QStringLiteral("state")},
           {QStringLiteral("state"), raw},
           {QStringLiteral("description"), description}},
          PlainText::escaped(description));
}

// A failure, or (empty) the end of the failures.
void ScriptingWatch::printFailure(const QVariantMap& failure) {
    if (failure.isEmpty()) {
        print({{QStringLiteral("event"), QStringLiteral("failureCleared")}},
              RecordingFailureReport::clearedText());
        return;
    }
    QVariantMap event = failure;
    event.insert(QStringLiteral("event"), QStringLiteral("failure"));
    print(event, PlainText::escaped(StatusText::failureLine(failure)));
}

void ScriptingWatch::print(const QVariantMap& event, const QString& plain) {
    if (json_) {
        out_ << QJsonDocument(QJsonObject::fromVariantMap(event)).toJson(QJsonDocument::Compact);
    } else {
        out_ << plain;
    }
    out_ << '\n' << Qt::flush;
}
