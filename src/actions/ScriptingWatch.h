#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QTextStream>
#include <QVariantMap>

// `nelvo watch`: one line per change of Nelvo's armed state and per finished
// file, until interrupted or until Nelvo quits.
class ScriptingWatch : public QObject {
    Q_OBJECT

public:
    ScriptingWatch(QDBusConnection bus, bool json, QObject* parent = nullptr);

    // Prints the state Nelvo is in now, then listens; false when no Nelvo answered.
    bool start();

Q_SIGNALS:
    // Nelvo left the bus.
    void ended();

private Q_SLOTS:
    void propertiesChanged(const QString& interface, const QVariantMap& changed,
                           const QStringList& invalidated);
    void recordingFinished(const QString& path);

private:
    void printState(int raw, const QString& description);
    void print(const QVariantMap& event, const QString& plain);

    QDBusConnection bus_;
    bool json_ = false;
    QTextStream out_{stdout};
};
