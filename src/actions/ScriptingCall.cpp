#include "ScriptingCall.h"

#include "ScriptingCommand.h"
#include "ScriptingService.h"
#include "ShortcutActions.h"

#include <QCoreApplication>

namespace {

const QString service = QStringLiteral("io.nelvo.Nelvo");
const QString path = QStringLiteral("/io/nelvo/Nelvo");

QString tr(const char* text) {
    return QCoreApplication::translate("ScriptingCall", text);
}

bool isOneOf(const QString& name, std::initializer_list<const char*> names) {
    for (const char* candidate : names) {
        if (name == QLatin1String("org.freedesktop.DBus.Error.") + QLatin1String(candidate)) {
            return true;
        }
    }
    return false;
}

}  // namespace

QDBusMessage ScriptingCall::methodCall(const QString& method, const QVariantList& arguments) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(service, path, ScriptingService::interfaceName, method);
    message.setArguments(arguments);
    return message;
}

ScriptingCall ScriptingCall::send(const QDBusConnection& bus, QDBusMessage message, int timeoutMs) {
    ScriptingCall call;
    if (!bus.isConnected()) {
        return call;
    }
    message.setAutoStartService(false);
    const QDBusMessage reply = bus.call(message, QDBus::Block, timeoutMs);
    if (reply.type() == QDBusMessage::ReplyMessage) {
        call.outcome_ = Outcome::answered;
        call.arguments_ = reply.arguments();
        return call;
    }
    call.outcome_ = outcomeOf(reply.errorName());
    call.errorMessage_ = reply.errorMessage();
    return call;
}

ScriptingCall::Outcome ScriptingCall::outcomeOf(const QString& errorName) {
    // Without its interface the object belongs to a Nelvo that is still starting.
    if (isOneOf(errorName, {"ServiceUnknown", "NameHasNoOwner", "UnknownObject", "UnknownInterface",
                            "UnknownMethod", "UnknownProperty"})) {
        return Outcome::notRunning;
    }
    if (isOneOf(errorName, {"NoReply", "Timeout", "TimedOut"})) {
        return Outcome::timedOut;
    }
    if (isOneOf(errorName, {"AccessDenied", "AuthFailed", "InteractiveAuthorizationRequired"})) {
        return Outcome::accessDenied;
    }
    return Outcome::failed;
}

QString ScriptingCall::failureText() const {
    switch (outcome_) {
        case Outcome::answered:
            return {};
        case Outcome::notRunning:
            return ShortcutActions::notReadyText();
        case Outcome::timedOut:
            //: Command line: a running Nelvo did not answer in time
            return tr("Nelvo didn't answer in time; it may be busy. Try again in a moment.");
        case Outcome::accessDenied:
            //: Command line: %1 is the bus's own explanation
            return tr("The session bus doesn't allow this command to reach Nelvo: %1")
                .arg(errorMessage_);
        case Outcome::failed:
            //: Command line: %1 is Nelvo's error message
            return tr("Nelvo couldn't answer: %1").arg(errorMessage_);
    }
    return {};
}

int ScriptingCall::exitStatus() const {
    switch (outcome_) {
        case Outcome::answered:
            return ScriptingCommand::done;
        case Outcome::notRunning:
            return ScriptingCommand::notRunning;
        case Outcome::timedOut:
            return ScriptingCommand::timedOut;
        case Outcome::accessDenied:
            return ScriptingCommand::accessDenied;
        case Outcome::failed:
            return ScriptingCommand::failed;
    }
    return ScriptingCommand::failed;
}
