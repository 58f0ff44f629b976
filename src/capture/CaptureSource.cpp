#include "CaptureSource.h"

#include "Log.h"

namespace {

QString displayName(GstDevice* device) {
    const GCharHandle name(gst_device_get_display_name(device));
    return QString::fromUtf8(name.get());
}

}  // namespace

GstHandle<GstElement> LaunchSource::makeElement() {
    Gst::ensureInitialised();
    GErrorHandle error;
    auto bin = GstHandle<GstElement>::sink(
        gst_parse_bin_from_description(description_.toUtf8().constData(), TRUE, Gst::out(error)));
    if (error) {
        Log::line(
            QStringLiteral("Could not open %1: %2").arg(name(), QString::fromUtf8(error->message)));
        return {};
    }
    return bin;
}

DeviceSource::DeviceSource(QString uniqueID, GstHandle<GstDevice> device)
    : CaptureSource(std::move(uniqueID), displayName(device.get())), device_(std::move(device)) {}

GstHandle<GstElement> DeviceSource::makeElement() {
    return GstHandle<GstElement>::sink(gst_device_create_element(device_.get(), nullptr));
}
