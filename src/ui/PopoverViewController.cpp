// Placeholder until the real popover lands (not for main).
#include "PopoverViewController.h"

#include "CaptureManager.h"
#include "RecordingManager.h"

#include <QLabel>
#include <QVBoxLayout>

PopoverViewController::PopoverViewController(RecordingManager&, CaptureManager&, Services services,
                                             QWidget* parent)
    : QWidget(parent) {
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(QStringLiteral("Popover"), this));
    setFixedSize(320, 240);
    popoverMenu_ = new PopoverMenu(services.menu, this);
}
PopoverViewController::~PopoverViewController() = default;
void PopoverViewController::popoverDidShow() {}
void PopoverViewController::popoverDidClose() {}
void PopoverViewController::motionLevel(int, double) {}
void PopoverViewController::soundLevel(double) {}
void PopoverViewController::soundMeterStopped() {}
void PopoverViewController::devicesInUse(const std::optional<QString>&, const std::optional<QString>&,
                                         const std::optional<QString>&) {}
void PopoverViewController::motionDetectionStoppedChanged(bool) {}
