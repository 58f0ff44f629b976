#include "PreviewWindowController.h"

#include "CaptureManager.h"
#include "PreviewViewController.h"

#include <QEvent>
#include <QVBoxLayout>

PreviewWindowController::PreviewWindowController(CaptureManager& manager, Defaults& defaults,
                                                 QWidget* parent)
    : QObject(parent), manager_(manager), window_(new QWidget(parent, Qt::Window)) {
    window_->setObjectName(QStringLiteral("PreviewWindow"));
    auto* layout = new QVBoxLayout(window_);
    layout->setContentsMargins(0, 0, 0, 0);
    viewController_ = new PreviewViewController(defaults, window_);
    layout->addWidget(viewController_);
    window_->resize(640, 360);
    window_->installEventFilter(this);
    connect(&manager_, &CaptureManager::devicesConfigured, this,
            &PreviewWindowController::updateCameras);
    updateCameras();
}

PreviewWindowController::~PreviewWindowController() {
    if (window_) {
        window_->removeEventFilter(this);
        if (window_->isVisible()) {
            setOpen(false);
        }
        delete window_;
    }
}

void PreviewWindowController::show() {
    updateCameras();
    window_->show();
    window_->raise();
    window_->activateWindow();
}

void PreviewWindowController::close() {
    window_->close();
}

void PreviewWindowController::toggle() {
    if (isVisible()) {
        close();
    } else {
        show();
    }
}

bool PreviewWindowController::isVisible() const {
    return window_ && window_->isVisible();
}

bool PreviewWindowController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == window_) {
        if (event->type() == QEvent::Show) {
            setOpen(true);
        } else if (event->type() == QEvent::Hide) {
            setOpen(false);
            // A spontaneous hide is the window being minimised, not closed.
            if (!event->spontaneous()) {
                Q_EMIT closed();
            }
        }
    }
    return QObject::eventFilter(watched, event);
}

void PreviewWindowController::setOpen(bool open) {
    if (manager_.previewOpen() != open) {
        manager_.setPreviewOpen(open);
    }
    manager_.setPreviewDelegate(open ? viewController_ : nullptr);
}

void PreviewWindowController::updateCameras() {
    QStringList names;
    QStringList ids;
    for (int i = 0; i < CaptureManager::pipelineCount; ++i) {
        const auto camera = manager_.camera(i);
        if (camera) {
            names << camera->name();
        }
        // Kept in pipeline order: an empty ID is a pipeline without a camera.
        ids << (camera ? camera->uniqueID() : QString());
    }
    viewController_->setCameras(names, ids);
    if (const auto aspect = manager_.aspectRatio()) {
        viewController_->setAspectRatio(aspect);
    }
}
