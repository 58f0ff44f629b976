#include "StatusItem.h"

#include "RecordingManager.h"

#include <QMenu>

StatusItem::StatusItem(RecordingManager& recordingManager, QObject* parent)
    : QObject(parent), recordingManager_(recordingManager) {
    connect(&tray_, &QSystemTrayIcon::activated, this,
            [this](QSystemTrayIcon::ActivationReason reason) {
                if (reason == QSystemTrayIcon::Trigger || reason == QSystemTrayIcon::DoubleClick) {
                    Q_EMIT clicked();
                }
            });
    update();
    tray_.show();
}

void StatusItem::update() {
    const bool failed = recordingManager_.recordingFailure().has_value();
    const ArmState state = recordingManager_.armedState().value_or(ArmState::unarmed);
    appearance_ = MenuBarIcon::appearance(state, failed);
    tray_.setIcon(MenuBarIcon::icon(appearance_));
    tray_.setToolTip(
        MenuBarIcon::accessibilityLabel(failed, recordingManager_.armedStateDescription()));
}

void StatusItem::setMenu(QMenu* menu) {
    tray_.setContextMenu(menu);
}

QString StatusItem::missingTrayHint(const QString& currentDesktop) {
    if (currentDesktop.split(u':').contains(QStringLiteral("GNOME"), Qt::CaseInsensitive)) {
        //: Shown in Nelvo's window on GNOME when the panel has no tray
        return tr(
            "GNOME shows no tray icons by itself, so Nelvo opens in this window. Turn on "
            "the AppIndicator extension (gnome-shell-extension-appindicator) and open "
            "Nelvo again to keep it in the top bar.");
    }
    //: Shown in Nelvo's window when the desktop has no tray
    return tr(
        "Your desktop shows no tray, so Nelvo opens in this window. Add a system tray "
        "(status notifier) to your panel and open Nelvo again to keep it there.");
}
