#pragma once

#include "LoginItem.h"

#include <QWidget>
#include <functional>

class Defaults;
class QCheckBox;

// The settings window's login choices: open Nelvo at login, arm when it
// opens, and arm while Do Not Disturb is on. Opening at login goes through
// the login item; the others are settings.
class LoginSection : public QWidget {
    Q_OBJECT
public:
    LoginSection(Defaults& defaults, LoginItemService& loginItemService,
                 std::function<void()> openLoginItemsSettings, QWidget* parent);

    // Reads the settings and the login item afresh.
    void reload();
    void handleOpenAtLogin();
    void handleArmAtLogin();

    // Where the login-state change is posted: the application's notifier
    // once it hands one over, else one of the section's own.
    LoginItemNotifier& loginItemNotifier() { return *loginItemNotifier_; }
    void setLoginItemNotifier(LoginItemNotifier& notifier) { loginItemNotifier_ = &notifier; }
    LoginItem::State loginState() const { return loginState_; }

    QCheckBox* openAtLoginCheckbox() const { return openAtLoginCheckbox_; }
    QCheckBox* armAtLoginCheckbox() const { return armAtLoginCheckbox_; }
    QCheckBox* doNotDisturbCheckbox() const { return doNotDisturbCheckbox_; }

Q_SIGNALS:
    // The login state was read or set anew.
    void loginStateChanged(LoginItem::State state);

private:
    Defaults& defaults_;
    LoginItem loginItem_;
    std::function<void()> openLoginItemsSettings_;
    LoginItemNotifier ownLoginItemNotifier_;
    LoginItemNotifier* loginItemNotifier_ = &ownLoginItemNotifier_;
    LoginItem::State loginState_ = LoginItem::State::off;
    QCheckBox* openAtLoginCheckbox_ = nullptr;
    QCheckBox* armAtLoginCheckbox_ = nullptr;
    QCheckBox* doNotDisturbCheckbox_ = nullptr;
};
