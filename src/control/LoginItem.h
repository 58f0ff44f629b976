#pragma once

#include "LoginItemService.h"

#include <QObject>
#include <QString>
#include <utility>

// Whether Nelvo opens at login, over a replaceable service.
class LoginItem {
public:
    enum class State { on, off, needsApproval };

    explicit LoginItem(LoginItemService& service) : service_(service) {}

    State state() const;
    // Registers or unregisters, then reads the state that really holds.
    std::pair<State, std::optional<Error>> set(bool enabled);

private:
    LoginItemService& service_;
};

// Carries the in-process notification "Nelvo.loginItemStateChanged", posted
// with the new state whenever the user's switch changed the login item.
class LoginItemNotifier : public QObject {
    Q_OBJECT

public:
    static inline const QString name = QStringLiteral("Nelvo.loginItemStateChanged");

    using QObject::QObject;
    void post(LoginItem::State state) { Q_EMIT loginItemStateChanged(state); }

Q_SIGNALS:
    void loginItemStateChanged(LoginItem::State state);
};
