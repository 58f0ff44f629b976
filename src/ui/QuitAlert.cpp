#include "QuitAlert.h"

#include <QPushButton>

QuitAlert::QuitAlert(QObject* parent) : QObject(parent) {
    box_ = new QMessageBox;
    box_->setObjectName(QStringLiteral("quitAlert"));
    box_->setIcon(QMessageBox::Information);
    //: The title of the alert shown while quitting mid-recording
    box_->setWindowTitle(tr("Nelvo"));
    //: Quitting while a recording is written; ends with one ellipsis character
    box_->setText(tr("Finishing the recording…"));
    box_->setInformativeText(
        tr("Nelvo is writing the last of what it recorded, then it will quit."));
    //: Alert button: quit without waiting for the recording to be written
    quitNow_ = box_->addButton(tr("Quit Now"), QMessageBox::AcceptRole);
    //: Alert button: do not quit, go on watching
    QPushButton* keep = box_->addButton(tr("Keep Recording"), QMessageBox::RejectRole);
    // Enter quits; Escape keeps recording.
    box_->setDefaultButton(quitNow_);
    box_->setEscapeButton(keep);
    connect(box_, &QMessageBox::finished, this, [this] {
        if (!dismissing_) {
            Q_EMIT answered(box_->clickedButton() == quitNow_);
        }
    });
}

QuitAlert::~QuitAlert() {
    delete box_.data();
}

void QuitAlert::show() {
    box_->open();
    box_->raise();
    box_->activateWindow();
}

void QuitAlert::dismiss() {
    dismissing_ = true;
    box_->done(QMessageBox::Cancel);
    dismissing_ = false;
}

bool QuitAlert::isShown() const {
    return box_ && box_->isVisible();
}
