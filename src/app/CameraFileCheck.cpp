#include "CameraFileCheck.h"

#include "GstHandle.h"

#include <gst/app/gstappsink.h>
#include <QCoreApplication>
#include <QFile>
#include <QFileInfo>
#include <memory>

namespace {

// Long enough for a large file on a slow disk to give its first frame.
constexpr GstClockTime decodeTimeout = 5 * GST_SECOND;

QString tr(const char* text) {
    return QCoreApplication::translate("CameraFileCheck", text);
}

// The pipeline the camera plays the file with, up to its first frame.
GstHandle<GstElement> firstFramePipeline(const QString& path) {
    GError* error = nullptr;
    GstElement* pipeline = gst_parse_launch(
        "filesrc name=file ! decodebin ! videoconvert ! video/x-raw,format=I420 ! "
        "appsink name=frames sync=false max-buffers=1",
        &error);
    std::unique_ptr<GError, decltype(&g_error_free)> owned(error, &g_error_free);
    if (!pipeline) {
        return {};
    }
    auto handle = GstHandle<GstElement>::adopt(GST_ELEMENT(gst_object_ref_sink(pipeline)));
    if (error) {
        return {};
    }
    auto file = GstHandle<GstElement>::adopt(gst_bin_get_by_name(GST_BIN(pipeline), "file"));
    g_object_set(file.get(), "location", path.toUtf8().constData(), nullptr);
    return handle;
}

}  // namespace

std::optional<QString> CameraFileCheck::problem(const QString& path) {
    if (std::optional<QString> reason = unreadable(path)) {
        return reason;
    }
    return undecodable(path);
}

std::optional<QString> CameraFileCheck::unreadable(const QString& path) {
    const QFileInfo info(path);
    if (!info.exists()) {
        return tr("no such file");
    }
    if (info.isDir()) {
        return tr("it is a folder");
    }
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        return file.error() == QFileDevice::PermissionsError ? tr("permission denied")
                                                             : file.errorString();
    }
    return std::nullopt;
}

std::optional<QString> CameraFileCheck::undecodable(const QString& path) {
    const QString reason = tr("it holds no video Nelvo can decode");
    const GstHandle<GstElement> pipeline = firstFramePipeline(path);
    if (!pipeline) {
        return reason;
    }
    if (gst_element_set_state(pipeline.get(), GST_STATE_PAUSED) == GST_STATE_CHANGE_FAILURE) {
        gst_element_set_state(pipeline.get(), GST_STATE_NULL);
        return reason;
    }
    // Paused with a frame in the sink, or an error, whichever comes first.
    auto bus = GstHandle<GstBus>::adopt(gst_element_get_bus(pipeline.get()));
    auto message = GstHandle<GstMessage>::adopt(gst_bus_timed_pop_filtered(
        bus.get(), decodeTimeout,
        static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_ASYNC_DONE)));
    GstHandle<GstSample> frame;
    if (message && GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_ASYNC_DONE) {
        auto frames =
            GstHandle<GstElement>::adopt(gst_bin_get_by_name(GST_BIN(pipeline.get()), "frames"));
        frame = GstHandle<GstSample>::adopt(
            gst_app_sink_try_pull_preroll(GST_APP_SINK(frames.get()), 0));
    }
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    if (!frame) {
        return reason;
    }
    return std::nullopt;
}
