#include "LoginSection.h"

#include "Defaults.h"
#include "SettingsAlert.h"
#include "SettingsKeys.h"

#include <QCheckBox>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

LoginSection::LoginSection(Defaults& defaults, LoginItemService& loginItemService,
                           std::function<void()> openLoginItemsSettings, QWidget* parent)
    : QWidget(parent),
      defaults_(defaults),
      loginItem_(loginItemService),
      openLoginItemsSettings_(std::move(openLoginItemsSettings)) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    //: Settings checkbox
    openAtLoginCheckbox_ = new QCheckBox(tr("Open Nelvo at Login"), this);
    //: Settings checkbox
    armAtLoginCheckbox_ = new QCheckBox(tr("Arm when Nelvo opens"), this);
    connect(openAtLoginCheckbox_, &QCheckBox::clicked, this, [this] { handleOpenAtLogin(); });
    connect(armAtLoginCheckbox_, &QCheckBox::clicked, this, [this] { handleArmAtLogin(); });
    //: Settings checkbox: arm while the desktop's Do Not Disturb is on, disarm when it goes off
    doNotDisturbCheckbox_ = new QCheckBox(tr("Arm while Do Not Disturb is on"), this);
    connect(doNotDisturbCheckbox_, &QCheckBox::clicked, this,
            [this](bool on) { defaults_.set(SettingsKeys::armWhileDoNotDisturb, on); });
    column->addWidget(openAtLoginCheckbox_);
    column->addWidget(armAtLoginCheckbox_);
    column->addWidget(doNotDisturbCheckbox_);
}

void LoginSection::reload() {
    armAtLoginCheckbox_->setChecked(defaults_.boolValue(SettingsKeys::armAtLogin));
    doNotDisturbCheckbox_->setChecked(defaults_.boolValue(SettingsKeys::armWhileDoNotDisturb));
    loginState_ = loginItem_.state();
    openAtLoginCheckbox_->setChecked(loginState_ == LoginItem::State::on);
    Q_EMIT loginStateChanged(loginState_);
}

void LoginSection::handleOpenAtLogin() {
    const auto [state, error] = loginItem_.set(openAtLoginCheckbox_->isChecked());
    loginState_ = state;
    openAtLoginCheckbox_->setChecked(state == LoginItem::State::on);
    Q_EMIT loginStateChanged(state);
    loginItemNotifier_->post(state);
    if (error) {
        //: Alert title
        SettingsAlert::inform(this, tr("Nelvo couldn't change whether it opens at login."),
                              error->description);
    } else if (state == LoginItem::State::needsApproval) {
        //: Alert title
        QMessageBox* box = SettingsAlert::make(this,
                                               tr("Your desktop needs your approval before Nelvo "
                                                  "can open at login."),
                                               //: Alert text
                                               tr("Allow Nelvo to run in the background in your "
                                                  "desktop's settings."));
        //: Alert button
        QPushButton* open = box->addButton(tr("Open Settings"), QMessageBox::AcceptRole);
        //: Alert button
        box->addButton(tr("Not Now"), QMessageBox::RejectRole);
        box->setDefaultButton(open);
        connect(open, &QPushButton::clicked, this, [this] { openLoginItemsSettings_(); });
        box->open();
    }
}

void LoginSection::handleArmAtLogin() {
    defaults_.set(SettingsKeys::armAtLogin, armAtLoginCheckbox_->isChecked());
}
