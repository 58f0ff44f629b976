#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QList>
#include <QString>
#include <QVariant>

// One call from a command-line client to the running Nelvo, and what became
// of it. A client never starts Nelvo: the call asks the bus not to launch the
// service, so a Nelvo that is not running stays not running.
class ScriptingCall {
public:
    enum class Outcome {
        answered,
        // Nobody owns Nelvo's name, or the Nelvo that does is still starting.
        notRunning,
        // Nelvo owns the name but did not answer in time.
        timedOut,
        // The bus's policy refused the call.
        accessDenied,
        // Nelvo answered with an error.
        failed,
    };

    static constexpr int defaultTimeoutMs = 10000;

    // A call of `method` on Nelvo's scripting interface.
    static QDBusMessage methodCall(const QString& method, const QVariantList& arguments = {});
    // Sends `message` (its auto-start flag cleared) and waits for the answer.
    static ScriptingCall send(const QDBusConnection& bus, QDBusMessage message,
                              int timeoutMs = defaultTimeoutMs);
    // What an error reply means, by the error's name.
    static Outcome outcomeOf(const QString& errorName);

    Outcome outcome() const { return outcome_; }
    bool answered() const { return outcome_ == Outcome::answered; }
    const QList<QVariant>& arguments() const { return arguments_; }
    // The line a command prints when the call was not answered.
    QString failureText() const;
    // The command's exit status when the call was not answered.
    int exitStatus() const;

private:
    Outcome outcome_ = Outcome::notRunning;
    QList<QVariant> arguments_;
    QString errorMessage_;
};
