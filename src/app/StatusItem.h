#pragma once

#include "MenuBarIcon.h"

#include <QObject>
#include <QRect>
#include <QSystemTrayIcon>

class QMenu;
class RecordingManager;

// Nelvo's round icon in the panel's tray (a StatusNotifierItem over D-Bus,
// or an XEmbed icon on older panels). Its look, tooltip and accessible name
// follow the armed state and recording failures; a click asks for the
// popover, a right-click opens the menu.
class StatusItem : public QObject {
    Q_OBJECT

public:
    explicit StatusItem(RecordingManager& recordingManager, QObject* parent = nullptr);

    // The menu a right-click opens.
    void setMenu(QMenu* menu);

    // What to do on a desktop (XDG_CURRENT_DESKTOP) that shows no tray.
    static QString missingTrayHint(const QString& currentDesktop);

    // Draws the icon for the state and failure now; runs at launch and
    // after every change of either.
    void update();

    MenuBarIcon::Appearance appearance() const { return appearance_; }
    QString accessibilityLabel() const { return tray_.toolTip(); }
    // Where the panel shows the icon; empty where it does not say.
    QRect geometry() const { return tray_.geometry(); }
    QSystemTrayIcon& trayIcon() { return tray_; }

Q_SIGNALS:
    void clicked();

private:
    RecordingManager& recordingManager_;
    QSystemTrayIcon tray_;
    MenuBarIcon::Appearance appearance_;
};
