#pragma once

#include "CaptureManagerPreviewDelegate.h"

#include <QSize>
#include <QString>
#include <QStringList>
#include <QWidget>
#include <array>
#include <optional>

class Defaults;
class PreviewView;
class ZoneEditorView;

// The preview window's content: one picture per camera, two side by side when
// a second camera runs, each with its zone editor laid over it. Keeps the
// window's title and its shape (the cameras' aspect) up to date.
class PreviewViewController : public QWidget, public CaptureManagerPreviewDelegate {
    Q_OBJECT

public:
    static constexpr int cameraCount = 2;

    explicit PreviewViewController(Defaults& defaults, QWidget* parent = nullptr);

    // The cameras shown: their names, and the unique IDs in pipeline order
    // (an empty ID: that pipeline has no camera). Views follow cameras, not
    // pipelines: the first camera present takes the first view, whichever
    // pipeline it runs on.
    void setCameras(const QStringList& names, const QStringList& uniqueIDs);
    // The cameras' picture aspect (width, height).
    void setAspectRatio(const std::optional<QSize>& aspectRatio);

    // CaptureManagerPreviewDelegate: `index` is the pipeline's.
    void previewImage(int index, const PreviewFrame& frame) override;

    const QStringList& cameraNames() const { return cameraNames_; }
    const std::optional<QSize>& aspectRatio() const { return aspectRatio_; }
    PreviewView* previewView() const { return views_[0]; }
    PreviewView* secondPreviewView() const { return views_[1]; }
    ZoneEditorView* zoneEditor() const { return editors_[0]; }
    ZoneEditorView* secondZoneEditor() const { return editors_[1]; }

    // "Nelvo - {names}" with the names joined by " + ", or "Nelvo".
    static QString title(const QStringList& names);
    // The window's content aspect: the width once per camera shown.
    std::optional<QSizeF> contentAspectRatio() const;

private:
    void updateWindow();
    int shownCount() const { return cameraNames_.size() < 2 ? 1 : 2; }

    std::array<PreviewView*, cameraCount> views_{};
    std::array<ZoneEditorView*, cameraCount> editors_{};
    // The view that shows each pipeline's camera; none for a pipeline without one.
    std::array<std::optional<int>, cameraCount> viewOfPipeline_{0, 1};
    QStringList cameraNames_;
    std::optional<QSize> aspectRatio_;
};
