#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <functional>

class QDBusServiceWatcher;

// What UPower says about the computer's power: whether it runs on battery,
// whether it has a lid, and whether a battery powers it. Asked afresh on every
// change UPower announces and whenever UPower itself comes or goes; the
// answers arrive later on the main thread, which never waits for them, and
// `changed` follows when they differ from what was known. Without UPower
// everything reads false.
class UPowerClient : public QObject {
    Q_OBJECT

public:
    struct Facts {
        bool onBattery = false;
        bool lidIsPresent = false;
        bool hasBattery = false;  // a battery device that supplies the computer
        friend bool operator==(const Facts&, const Facts&) = default;
    };

    explicit UPowerClient(QDBusConnection bus = QDBusConnection::systemBus(),
                          QObject* parent = nullptr);

    const Facts& facts() const { return facts_; }
    bool available() const { return available_; }
    // Asks UPower again; answers to earlier questions still on their way are dropped.
    void refresh();

Q_SIGNALS:
    void changed();

private Q_SLOTS:
    void somethingChanged();

private:
    // The questions of one refresh and the answers gathered so far.
    struct Round {
        quint64 number = 0;
        bool managerAnswered = false;
        int devicesUnanswered = -1;  // not yet listed
        Facts facts;
    };

    void ask(const QDBusMessage& call, std::function<void(const QDBusMessage&)> answered);
    void managerAnswered(const QDBusMessage& reply);
    void devicesListed(const QDBusMessage& reply);
    void deviceAnswered(const QDBusMessage& reply);
    void finishWhenAnswered();
    void publish(bool available, const Facts& facts);

    QDBusConnection bus_;
    QDBusServiceWatcher* serviceWatcher_ = nullptr;
    Round round_;
    Facts facts_;
    bool available_ = false;
};
