#pragma once

#include "PreviewFrame.h"

// The preview window's side of the capture manager. Called on the main thread.
class CaptureManagerPreviewDelegate {
public:
    virtual ~CaptureManagerPreviewDelegate() = default;

    // The newest frame of pipeline `index` with its moved pixels.
    virtual void previewImage(int index, const PreviewFrame& frame) = 0;
};
