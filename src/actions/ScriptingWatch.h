#pragma once

#include "ScriptingCall.h"

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTextStream>
#include <QVariantMap>

// `nelvo watch`: one line per change of Nelvo's armed state, per finished
// file and per change of the recording failures, until interrupted or until
// Nelvo quits. Plain lines escape what came from outside (PlainText).
class ScriptingWatch : public QObject {
    Q_OBJECT

public:
    ScriptingWatch(QDBusConnection bus, bool json, QObject* parent = nullptr);

    // Prints the state Nelvo is in now, and its failure if there is one,
    // then listens; the call that asked, unanswered when no Nelvo answered.
    ScriptingCall start();

Q_SIGNALS:
    // Nelvo left the bus.
    void ended();

private Q_SLOTS:
    void propertiesChanged(const QString& interface, const QVariantMap& changed,
                           const QStringList& invalidated);
    void recordingFinished(const QString& path);
    void recordingFailureChanged(const QDBusMessage& message);

private:
    void printState(int raw, const QString& description);
    void printFailure(const QVariantMap& failure);
    void print(const QVariantMap& event, const QString& plain);

    QDBusConnection bus_;
    bool json_ = false;
    QTextStream out_{stdout};
};
