#include "SettingsWindowController.h"

#include "SettingsViewController.h"

#include <QVBoxLayout>

SettingsWindowController::SettingsWindowController(RecordingManager& recordingManager,
                                                   CaptureManager& captureManager,
                                                   LoginItemService& loginItemService,
                                                   const NetworkCameraFacts& cameraFacts,
                                                   QWidget* parent)
    : QWidget(parent, Qt::Window),
      viewController_(new SettingsViewController(recordingManager, captureManager, loginItemService,
                                                 cameraFacts, this)) {
    //: Settings window title
    setWindowTitle(tr("Nelvo Settings"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(viewController_);
    layout->setSizeConstraint(QLayout::SetFixedSize);
}

void SettingsWindowController::showWindow() {
    viewController_->viewWillAppear();
    show();
    raise();
    activateWindow();
}
