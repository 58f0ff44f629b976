#pragma once

#include <QDBusConnection>
#include <QObject>

// What UPower says about the computer's power: whether it runs on battery,
// whether it has a lid, and whether a battery powers it. Read afresh on every
// change UPower announces. Without UPower everything reads false.
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
    void refresh();

Q_SIGNALS:
    void changed();

private Q_SLOTS:
    void somethingChanged();

private:
    bool hasBatteryDevice() const;

    QDBusConnection bus_;
    Facts facts_;
    bool available_ = false;
};
