#pragma once

#include <QImage>

// The preview window's side of the capture manager. Called on the main thread.
class CaptureManagerPreviewDelegate {
public:
    virtual ~CaptureManagerPreviewDelegate() = default;

    // The newest picture of pipeline `index`, moved pixels marked red.
    virtual void previewImage(int index, const QImage& image) = 0;
};
