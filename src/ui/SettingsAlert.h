#pragma once

#include <QCoreApplication>
#include <QString>

class QMessageBox;
class QWidget;

// The settings window's alerts: window-modal on the settings window, so the
// rest of Nelvo stays usable.
class SettingsAlert {
    Q_DECLARE_TR_FUNCTIONS(SettingsAlert)
public:
    // An alert without buttons yet, deleted when it closes; the caller adds
    // its buttons and opens it.
    static QMessageBox* make(QWidget* over, const QString& title, const QString& text);
    // An alert that only informs, with an OK button, opened at once.
    static void inform(QWidget* over, const QString& title, const QString& text);
};
