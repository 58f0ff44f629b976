#include "CaptureSource.h"

#include "Log.h"

namespace {

QString displayName(GstDevice* device) {
    gchar* name = gst_device_get_display_name(device);
    QString result = QString::fromUtf8(name);
    g_free(name);
    return result;
}

}  // namespace

GstHandle<GstElement> LaunchSource::makeElement() {
    Gst::ensureInitialised();
    GError* error = nullptr;
    GstElement* bin =
        gst_parse_bin_from_description(description_.toUtf8().constData(), TRUE, &error);
    if (error) {
        Log::line(
            QStringLiteral("Could not open %1: %2").arg(name(), QString::fromUtf8(error->message)));
        g_error_free(error);
        if (bin) {
            gst_object_unref(gst_object_ref_sink(bin));
        }
        return {};
    }
    return GstHandle<GstElement>::adopt(GST_ELEMENT(gst_object_ref_sink(bin)));
}

DeviceSource::DeviceSource(QString uniqueID, GstHandle<GstDevice> device)
    : CaptureSource(std::move(uniqueID), displayName(device.get())), device_(std::move(device)) {}

GstHandle<GstElement> DeviceSource::makeElement() {
    GstElement* element = gst_device_create_element(device_.get(), nullptr);
    if (!element) {
        return {};
    }
    return GstHandle<GstElement>::adopt(GST_ELEMENT(gst_object_ref_sink(element)));
}
