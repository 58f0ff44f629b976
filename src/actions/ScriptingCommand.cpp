#include "ScriptingCommand.h"

#include "ScriptingService.h"
#include "ScriptingWatch.h"
#include "ShortcutActions.h"
#include "Translations.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>
#include <optional>

namespace ScriptingCommand {

namespace {

const QString service = QStringLiteral("io.nelvo.Nelvo");
const QString path = QStringLiteral("/io/nelvo/Nelvo");
const QStringList verbs{QStringLiteral("arm"),  QStringLiteral("disarm"), QStringLiteral("status"),
                        QStringLiteral("test"), QStringLiteral("focus"),  QStringLiteral("watch")};

struct Request {
    QString verb;
    bool json = false;
    bool focusOn = false;
};

QString usage() {
    return QCoreApplication::translate(
        "ScriptingCommand",
        "Usage: nelvo arm | disarm | test | focus on|off | status [--json] | watch [--json]");
}

// The request, or nothing when the arguments after the verb do not fit it.
std::optional<Request> parse(const QStringList& arguments) {
    Request request{arguments.value(1)};
    const QStringList rest = arguments.mid(2);
    if (request.verb == QStringLiteral("focus")) {
        if (rest.size() != 1 ||
            (rest[0] != QStringLiteral("on") && rest[0] != QStringLiteral("off"))) {
            return std::nullopt;
        }
        request.focusOn = rest[0] == QStringLiteral("on");
        return request;
    }
    const bool jsonAllowed =
        request.verb == QStringLiteral("status") || request.verb == QStringLiteral("watch");
    for (const QString& argument : rest) {
        if (argument != QStringLiteral("--json") || !jsonAllowed) {
            return std::nullopt;
        }
        request.json = true;
    }
    return request;
}

void printLine(const QString& text) {
    QTextStream(stdout) << text << '\n';
}

// One call to the running Nelvo; nothing when no Nelvo (or one still starting) answered.
std::optional<QList<QVariant>> call(const QDBusConnection& bus, const QString& method,
                                    const QVariantList& arguments = {}) {
    if (!bus.isConnected()) {
        return std::nullopt;
    }
    QDBusMessage message =
        QDBusMessage::createMethodCall(service, path, ScriptingService::interfaceName, method);
    message.setArguments(arguments);
    const QDBusMessage reply = bus.call(message, QDBus::Block, 10000);
    if (reply.type() != QDBusMessage::ReplyMessage) {
        return std::nullopt;
    }
    return reply.arguments();
}

int notRunningAnswer() {
    printLine(ShortcutActions::notReadyText());
    return notRunning;
}

// The answer of a method that returns a dialog and whether it was done.
int dialogAnswer(const QDBusConnection& bus, const QString& method) {
    const std::optional<QList<QVariant>> reply = call(bus, method);
    if (!reply || reply->size() < 2) {
        return notRunningAnswer();
    }
    printLine(reply->at(0).toString());
    return reply->at(1).toBool() ? done : refused;
}

int status(const QDBusConnection& bus, bool json) {
    const std::optional<QList<QVariant>> reply = call(bus, QStringLiteral("GetStatus"));
    if (!reply || reply->isEmpty()) {
        return notRunningAnswer();
    }
    const QVariantMap status = qdbus_cast<QVariantMap>(reply->at(0));
    if (json) {
        printLine(QString::fromUtf8(
            QJsonDocument(QJsonObject::fromVariantMap(status)).toJson(QJsonDocument::Compact)));
        return done;
    }
    for (const QString& key :
         {QStringLiteral("description"), QStringLiteral("notice"), QStringLiteral("summary")}) {
        if (status.contains(key)) {
            printLine(status.value(key).toString());
        }
    }
    return done;
}

int watch(const QDBusConnection& bus, bool json) {
    ScriptingWatch watcher(bus, json);
    if (!bus.isConnected() || !watcher.start()) {
        return notRunningAnswer();
    }
    QObject::connect(&watcher, &ScriptingWatch::ended, QCoreApplication::instance(),
                     [] { QCoreApplication::exit(done); });
    return QCoreApplication::exec();
}

int perform(const Request& request) {
    const QDBusConnection bus = QDBusConnection::sessionBus();
    if (request.verb == QStringLiteral("arm")) {
        return dialogAnswer(bus, QStringLiteral("Arm"));
    }
    if (request.verb == QStringLiteral("disarm")) {
        return dialogAnswer(bus, QStringLiteral("Disarm"));
    }
    if (request.verb == QStringLiteral("test")) {
        return dialogAnswer(bus, QStringLiteral("RecordTest"));
    }
    if (request.verb == QStringLiteral("focus")) {
        const std::optional<QList<QVariant>> reply =
            call(bus, QStringLiteral("SetFocus"), {request.focusOn});
        if (!reply || reply->isEmpty()) {
            return notRunningAnswer();
        }
        printLine(reply->at(0).toString());
        return done;
    }
    if (request.verb == QStringLiteral("status")) {
        return status(bus, request.json);
    }
    return watch(bus, request.json);
}

}  // namespace

bool isRequested(int argc, char** argv) {
    return argc >= 2 && verbs.contains(QString::fromLocal8Bit(argv[1]));
}

int run(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("Nelvo"));
    Translations::install(app);
    const std::optional<Request> request = parse(QCoreApplication::arguments());
    if (!request) {
        QTextStream(stderr) << usage() << '\n';
        return notRunning;
    }
    return perform(*request);
}

}  // namespace ScriptingCommand
