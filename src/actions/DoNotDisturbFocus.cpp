#include "DoNotDisturbFocus.h"

#include "Defaults.h"
#include "GnomeDoNotDisturb.h"
#include "PlasmaDoNotDisturb.h"
#include "SettingsKeys.h"
#include "ShortcutActions.h"

DoNotDisturbFocus::DoNotDisturbFocus(Defaults& defaults, ShortcutActions& actions,
                                     std::unique_ptr<GnomeDoNotDisturb> gnome,
                                     std::unique_ptr<PlasmaDoNotDisturb> plasma, QObject* parent)
    : QObject(parent),
      defaults_(defaults),
      actions_(actions),
      gnome_(std::move(gnome)),
      plasma_(std::move(plasma)) {
    if (gnome_) {
        connect(gnome_.get(), &GnomeDoNotDisturb::changed, this, &DoNotDisturbFocus::update);
    }
    if (plasma_) {
        connect(plasma_.get(), &PlasmaDoNotDisturb::changed, this, &DoNotDisturbFocus::update);
    }
    connect(&defaults_, &Defaults::changed, this, &DoNotDisturbFocus::update);
    update();
}

DoNotDisturbFocus::~DoNotDisturbFocus() = default;

std::unique_ptr<DoNotDisturbFocus> DoNotDisturbFocus::forDesktop(Defaults& defaults,
                                                                 ShortcutActions& actions) {
    return std::make_unique<DoNotDisturbFocus>(defaults, actions,
                                               std::make_unique<GnomeDoNotDisturb>(),
                                               std::make_unique<PlasmaDoNotDisturb>());
}

// Only a change of the switch (or of the setting) counts, as a Focus turning
// on or off does; either desktop's switch being on is on.
void DoNotDisturbFocus::update() {
    const bool doNotDisturb =
        (gnome_ && gnome_->isOn().value_or(false)) || (plasma_ && plasma_->isOn().value_or(false));
    const bool following = doNotDisturb && defaults_.boolValue(SettingsKeys::armWhileDoNotDisturb);
    if (following == following_) {
        return;
    }
    following_ = following;
    actions_.focus(following);
}
