#include "PreviewViewController.h"

#include "PreviewView.h"
#include "ZoneEditorView.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QScreen>

PreviewViewController::PreviewViewController(Defaults& defaults, QWidget* parent)
    : QWidget(parent) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    for (int i = 0; i < cameraCount; ++i) {
        views_[i] = new PreviewView(this);
        // The editor covers its picture's view and follows where the picture lies.
        auto* cover = new QGridLayout(views_[i]);
        cover->setContentsMargins(0, 0, 0, 0);
        editors_[i] = new ZoneEditorView(defaults, views_[i]);
        cover->addWidget(editors_[i], 0, 0);
        connect(views_[i], &PreviewView::pictureRectChanged, editors_[i],
                &ZoneEditorView::setPictureRect);
        layout->addWidget(views_[i], 1);
    }
    views_[1]->hide();
    updateWindow();
}

void PreviewViewController::setCameras(const QStringList& names, const QStringList& uniqueIDs) {
    std::array<std::optional<QString>, cameraCount> shownIDs;
    int view = 0;
    for (int pipeline = 0; pipeline < cameraCount; ++pipeline) {
        const bool present = pipeline < uniqueIDs.size() && !uniqueIDs[pipeline].isEmpty();
        viewOfPipeline_[pipeline] = present ? std::optional(view) : std::nullopt;
        if (present) {
            shownIDs[view++] = uniqueIDs[pipeline];
        }
    }
    for (int i = 0; i < cameraCount; ++i) {
        if (editors_[i]->cameraID() != shownIDs[i]) {
            editors_[i]->setCameraID(shownIDs[i]);
            views_[i]->clear();
        }
    }
    if (names != cameraNames_) {
        cameraNames_ = names;
        updateWindow();
    }
}

void PreviewViewController::setAspectRatio(const std::optional<QSize>& aspectRatio) {
    if (aspectRatio != aspectRatio_) {
        aspectRatio_ = aspectRatio;
        updateWindow();
    }
}

void PreviewViewController::previewImage(int index, const PreviewFrame& frame) {
    if (index < 0 || index >= cameraCount || !viewOfPipeline_[index]) {
        return;
    }
    const int view = *viewOfPipeline_[index];
    views_[view]->setFrame(frame);
    if (view == 0 && (!aspectRatio_ || *aspectRatio_ != frame.size())) {
        setAspectRatio(frame.size());
    }
}

QString PreviewViewController::title(const QStringList& names) {
    return names.isEmpty() ? QStringLiteral("Nelvo")
                           : QStringLiteral("Nelvo - ") + names.join(QStringLiteral(" + "));
}

std::optional<QSizeF> PreviewViewController::contentAspectRatio() const {
    if (!aspectRatio_ || aspectRatio_->height() <= 0) {
        return std::nullopt;
    }
    return QSizeF(aspectRatio_->width() * shownCount(), aspectRatio_->height());
}

void PreviewViewController::updateWindow() {
    views_[1]->setVisible(cameraNames_.size() >= 2);
    QWidget* w = window();
    w->setWindowTitle(title(cameraNames_));
    const auto aspect = contentAspectRatio();
    if (!aspect) {
        return;
    }
    // Keep the current height where it fits; otherwise shrink to the screen's
    // free area (less a margin for the frame and panels).
    const QScreen* screen = w->screen();
    const QSizeF room =
        screen ? QSizeF(screen->availableGeometry().size()) * 0.9 : QSizeF(1e6, 1e6);
    double height = std::max(w->height(), 240);
    double width = height * aspect->width() / aspect->height();
    const double scale = std::min({1.0, room.width() / width, room.height() / height});
    w->resize(QSizeF(width * scale, height * scale).toSize());
}
