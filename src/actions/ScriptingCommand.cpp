#include "ScriptingCommand.h"

#include "ScriptingCall.h"
#include "ScriptingReply.h"
#include "ScriptingWatch.h"
#include "StatusText.h"
#include "TestVerification.h"
#include "Translations.h"

#include <QCoreApplication>
#include <QDBusConnection>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>
#include <optional>

namespace ScriptingCommand {

namespace {

const QStringList verbs{QStringLiteral("arm"),  QStringLiteral("disarm"), QStringLiteral("status"),
                        QStringLiteral("test"), QStringLiteral("focus"),  QStringLiteral("watch")};

struct Request {
    QString verb;
    bool json = false;
    bool verify = false;
    bool focusOn = false;
};

QString usage() {
    return QCoreApplication::translate("ScriptingCommand",
                                       "Usage: nelvo arm | disarm | test [--verify] | focus on|off "
                                       "| status [--json] | watch [--json]");
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
    const bool verifyAllowed = request.verb == QStringLiteral("test");
    for (const QString& argument : rest) {
        if (argument == QStringLiteral("--json") && jsonAllowed) {
            request.json = true;
        } else if (argument == QStringLiteral("--verify") && verifyAllowed) {
            request.verify = true;
        } else {
            return std::nullopt;
        }
    }
    return request;
}

void printLine(const QString& text) {
    QTextStream(stdout) << text << '\n';
}

int unanswered(const ScriptingCall& call) {
    printLine(call.failureText());
    return call.exitStatus();
}

// The answer of a method that returns a dialog and whether it was done.
int dialogAnswer(const QDBusConnection& bus, const QString& method) {
    const ScriptingCall call = ScriptingCall::send(bus, ScriptingCall::methodCall(method));
    if (!call.answered()) {
        return unanswered(call);
    }
    printLine(call.arguments().value(0).toString());
    return call.arguments().value(1).toBool() ? done : refused;
}

int status(const QDBusConnection& bus, bool json) {
    const ScriptingCall call =
        ScriptingCall::send(bus, ScriptingCall::methodCall(QStringLiteral("GetStatus")));
    if (!call.answered()) {
        return unanswered(call);
    }
    const QVariantMap status = ScriptingReply::plain(call.arguments().value(0)).toMap();
    if (json) {
        printLine(QString::fromUtf8(
            QJsonDocument(QJsonObject::fromVariantMap(status)).toJson(QJsonDocument::Compact)));
        return done;
    }
    for (const QString& line : StatusText::lines(status)) {
        printLine(line);
    }
    return done;
}

int watch(const QDBusConnection& bus, bool json) {
    ScriptingWatch watcher(bus, json);
    const ScriptingCall started = watcher.start();
    if (!started.answered()) {
        return unanswered(started);
    }
    QObject::connect(&watcher, &ScriptingWatch::ended, QCoreApplication::instance(),
                     [] { QCoreApplication::exit(done); });
    return QCoreApplication::exec();
}

int focus(const QDBusConnection& bus, bool on) {
    const ScriptingCall call =
        ScriptingCall::send(bus, ScriptingCall::methodCall(QStringLiteral("SetFocus"), {on}));
    if (!call.answered()) {
        return unanswered(call);
    }
    printLine(call.arguments().value(0).toString());
    return done;
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
        return request.verify ? TestVerification::run(bus)
                              : dialogAnswer(bus, QStringLiteral("RecordTest"));
    }
    if (request.verb == QStringLiteral("focus")) {
        return focus(bus, request.focusOn);
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
