#include "SettingsAlert.h"

#include <QMessageBox>
#include <QPushButton>

QMessageBox* SettingsAlert::make(QWidget* over, const QString& title, const QString& text) {
    auto* box = new QMessageBox(over->window());
    box->setObjectName(QStringLiteral("settingsAlert"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setIcon(QMessageBox::Warning);
    box->setWindowModality(Qt::WindowModal);
    box->setText(title);
    box->setInformativeText(text);
    return box;
}

void SettingsAlert::inform(QWidget* over, const QString& title, const QString& text) {
    QMessageBox* box = make(over, title, text);
    //: The button of an alert that only informs
    box->addButton(tr("OK"), QMessageBox::AcceptRole);
    box->open();
}
