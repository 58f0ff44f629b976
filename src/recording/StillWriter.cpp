#include "StillWriter.h"

#include "PrivateFile.h"

#include <gst/video/video.h>
#include <unistd.h>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QImage>
#include <QUuid>

namespace StillWriter {

namespace {

constexpr int jpegQuality = 80;

// Converts any raw video format into an RGBx image the size of the frame.
QImage imageFrom(GstSample* rawFrame) {
    GstVideoInfo in;
    GstCaps* caps = gst_sample_get_caps(rawFrame);
    GstBuffer* buffer = gst_sample_get_buffer(rawFrame);
    if (!caps || !buffer || !gst_video_info_from_caps(&in, caps)) {
        return {};
    }
    QImage image(GST_VIDEO_INFO_WIDTH(&in), GST_VIDEO_INFO_HEIGHT(&in), QImage::Format_RGBX8888);
    if (image.isNull()) {
        return {};
    }
    GstVideoInfo out;
    gst_video_info_set_format(&out, GST_VIDEO_FORMAT_RGBx, GST_VIDEO_INFO_WIDTH(&in),
                              GST_VIDEO_INFO_HEIGHT(&in));
    GST_VIDEO_INFO_FPS_N(&out) = GST_VIDEO_INFO_FPS_N(&in);
    GST_VIDEO_INFO_FPS_D(&out) = GST_VIDEO_INFO_FPS_D(&in);
    GST_VIDEO_INFO_PLANE_STRIDE(&out, 0) = static_cast<gint>(image.bytesPerLine());
    GST_VIDEO_INFO_SIZE(&out) = static_cast<gsize>(image.sizeInBytes());
    // The converter writes straight into the image's pixels.
    GstBuffer* target =
        gst_buffer_new_wrapped_full(GstMemoryFlags(0), image.bits(), image.sizeInBytes(), 0,
                                    image.sizeInBytes(), nullptr, nullptr);
    GstVideoFrame source;
    GstVideoFrame destination;
    bool converted = false;
    if (gst_video_frame_map(&source, &in, buffer, GST_MAP_READ)) {
        if (gst_video_frame_map(&destination, &out, target, GST_MAP_WRITE)) {
            if (GstVideoConverter* converter = gst_video_converter_new(&in, &out, nullptr)) {
                gst_video_converter_frame(converter, &source, &destination);
                gst_video_converter_free(converter);
                converted = true;
            }
            gst_video_frame_unmap(&destination);
        }
        gst_video_frame_unmap(&source);
    }
    gst_buffer_unref(target);
    return converted ? image : QImage();
}

}  // namespace

bool write(GstSample* rawFrame, const QString& path) {
    const QImage image = rawFrame ? imageFrom(rawFrame) : QImage();
    if (image.isNull()) {
        return false;
    }
    // Written whole under a hidden name, then given its own name, so no half
    // still is ever seen there.
    const QFileInfo target(path);
    const QString workPath = target.dir().filePath(
        u'.' + QUuid::createUuid().toString(QUuid::WithoutBraces) + QStringLiteral(".jpg"));
    const int fd = PrivateFile::create(workPath);
    if (fd < 0) {
        return false;
    }
    bool written = false;
    {
        QFile file;
        written = file.open(fd, QIODevice::WriteOnly, QFileDevice::AutoCloseHandle) &&
                  image.save(&file, "JPEG", jpegQuality) && file.flush();
    }
    if (written && PrivateFile::moveIntoPlace(workPath, path)) {
        return true;
    }
    ::unlink(QFile::encodeName(workPath).constData());
    return false;
}

}  // namespace StillWriter
