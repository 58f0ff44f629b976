#pragma once

#include <QObject>
#include <memory>

class Defaults;
class GnomeDoNotDisturb;
class PlasmaDoNotDisturb;
class ShortcutActions;

// Follows the desktop's Do Not Disturb switch as a Focus, when the user asked
// for it ("armWhileDoNotDisturb"): turning on is a Focus turning on with
// armed true, turning off a Focus turning off, so it never disarms what the
// user or the schedule armed. Main thread.
class DoNotDisturbFocus : public QObject {
    Q_OBJECT

public:
    DoNotDisturbFocus(Defaults& defaults, ShortcutActions& actions,
                      std::unique_ptr<GnomeDoNotDisturb> gnome,
                      std::unique_ptr<PlasmaDoNotDisturb> plasma, QObject* parent = nullptr);
    ~DoNotDisturbFocus() override;

    // Following GNOME's and KDE Plasma's switches on the session bus.
    static std::unique_ptr<DoNotDisturbFocus> forDesktop(Defaults& defaults,
                                                         ShortcutActions& actions);

    // Do Not Disturb is on and Nelvo follows it.
    bool following() const { return following_; }

private:
    void update();

    Defaults& defaults_;
    ShortcutActions& actions_;
    std::unique_ptr<GnomeDoNotDisturb> gnome_;
    std::unique_ptr<PlasmaDoNotDisturb> plasma_;
    bool following_ = false;
};
