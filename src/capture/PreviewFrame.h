#pragma once

#include "GstHandle.h"

#include <gst/video/video.h>
#include <QSize>
#include <cstdint>
#include <memory>
#include <vector>

// One picture for the preview as the camera made it: the camera's own frame,
// held by reference (its YUV planes are neither copied nor converted on the
// capture side), and which of its pixels moved. Whoever draws it converts or
// uploads it and lets go, so the frame goes back to the camera's pool.
struct PreviewFrame {
    GstHandle<GstSample> sample;
    GstVideoInfo info{};
    // One byte per pixel (1 = moved), rows of the frame's width; from the
    // motion renderer's pool.
    std::shared_ptr<const std::vector<std::uint8_t>> mask;

    bool isNull() const { return !sample || !mask; }
    QSize size() const {
        return isNull() ? QSize()
                        : QSize(GST_VIDEO_INFO_WIDTH(&info), GST_VIDEO_INFO_HEIGHT(&info));
    }
};
