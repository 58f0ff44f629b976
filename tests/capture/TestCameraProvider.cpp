#include "TestCameraProvider.h"

#include <algorithm>

// The GObject types: a camera device and the provider that announces them.
// Plain C structs, as GObject wants them.
struct NelvoTestCamera {
    GstDevice parent;
};
struct NelvoTestCameraClass {
    GstDeviceClass parentClass;
};
struct NelvoTestCameraProvider {
    GstDeviceProvider parent;
    GList* attached;  // cameras plugged in, announced while started; object lock
};
struct NelvoTestCameraProviderClass {
    GstDeviceProviderClass parentClass;
};

G_DEFINE_TYPE(NelvoTestCamera, nelvo_test_camera, GST_TYPE_DEVICE)
G_DEFINE_TYPE(NelvoTestCameraProvider, nelvo_test_camera_provider, GST_TYPE_DEVICE_PROVIDER)

namespace {

constexpr const char* providerName = "nelvotestcameras";

GstElement* createCameraElement(GstDevice*, const gchar* name) {
    GstElement* source = gst_element_factory_make("videotestsrc", name);
    if (source) {
        g_object_set(source, "is-live", TRUE, nullptr);
        gst_util_set_object_arg(G_OBJECT(source), "pattern", "ball");
    }
    return source;
}

NelvoTestCameraProvider* testProvider(GstDeviceProvider* provider) {
    return reinterpret_cast<NelvoTestCameraProvider*>(provider);
}

// Like a real provider, it announces the cameras already attached when it
// starts; then they come and go when the test says so.
gboolean startProvider(GstDeviceProvider* provider) {
    GST_OBJECT_LOCK(provider);
    GList* attached = g_list_copy(testProvider(provider)->attached);
    g_list_foreach(
        attached, [](gpointer camera, gpointer) { gst_object_ref(camera); }, nullptr);
    GST_OBJECT_UNLOCK(provider);
    for (GList* item = attached; item; item = item->next) {
        gst_device_provider_device_add(provider, GST_DEVICE(item->data));
    }
    g_list_free_full(attached, gst_object_unref);
    return TRUE;
}

// Stopping lets go of the announced cameras (GStreamer unparents them).
void stopProvider(GstDeviceProvider*) {}

gboolean registerPlugin(GstPlugin* plugin) {
    return gst_device_provider_register(plugin, providerName, GST_RANK_PRIMARY,
                                        nelvo_test_camera_provider_get_type());
}

}  // namespace

static void nelvo_test_camera_class_init(NelvoTestCameraClass* klass) {
    GST_DEVICE_CLASS(klass)->create_element = createCameraElement;
}

static void nelvo_test_camera_init(NelvoTestCamera*) {}

static void nelvo_test_camera_provider_class_init(NelvoTestCameraProviderClass* klass) {
    GstDeviceProviderClass* providerClass = GST_DEVICE_PROVIDER_CLASS(klass);
    providerClass->start = startProvider;
    providerClass->stop = stopProvider;
    gst_device_provider_class_set_static_metadata(providerClass, "Nelvo test cameras",
                                                  "Video/Source", "Cameras a test plugs in and out",
                                                  "Nelvo");
}

static void nelvo_test_camera_provider_init(NelvoTestCameraProvider* provider) {
    provider->attached = nullptr;
}

TestCameraProvider::TestCameraProvider() {
    Gst::ensureInitialised();
    GstDeviceProviderFactory* registered = gst_device_provider_factory_find(providerName);
    if (registered) {
        gst_object_unref(registered);
    } else {
        gst_plugin_register_static(GST_VERSION_MAJOR, GST_VERSION_MINOR, "nelvotestcameras",
                                   "Cameras for Nelvo's tests", registerPlugin, "1.0",
                                   "Proprietary", "nelvo-tests", "nelvo", "https://nelvo.io");
    }
    provider_ = gst_device_provider_factory_get_by_name(providerName);
}

TestCameraProvider::~TestCameraProvider() {
    while (!plugged_.empty()) {
        unplug(plugged_.back());
    }
    if (provider_) {
        gst_object_unref(provider_);
    }
}

GstHandle<GstDevice> TestCameraProvider::makeCamera(const QString& name,
                                                    const QVariantMap& properties) {
    GstStructure* structure = gst_structure_new_empty("nelvo-test-camera");
    for (auto it = properties.begin(); it != properties.end(); ++it) {
        gst_structure_set(structure, it.key().toUtf8().constData(), G_TYPE_STRING,
                          it.value().toString().toUtf8().constData(), nullptr);
    }
    GstCaps* caps = gst_caps_new_empty_simple("video/x-raw");
    auto* device = static_cast<GstDevice*>(g_object_new(
        nelvo_test_camera_get_type(), "display-name", name.toUtf8().constData(), "device-class",
        "Video/Source", "caps", caps, "properties", structure, nullptr));
    gst_caps_unref(caps);
    gst_structure_free(structure);
    return GstHandle<GstDevice>::adopt(GST_DEVICE(gst_object_ref_sink(device)));
}

GstHandle<GstDevice> TestCameraProvider::plug(const QString& name, const QVariantMap& properties) {
    GstHandle<GstDevice> camera = makeCamera(name, properties);
    plugged_.push_back(camera);
    GST_OBJECT_LOCK(provider_);
    auto* provider = testProvider(provider_);
    provider->attached = g_list_append(provider->attached, gst_object_ref(camera.get()));
    GST_OBJECT_UNLOCK(provider_);
    if (gst_device_provider_is_started(provider_)) {
        gst_device_provider_device_add(provider_, camera.get());
    }
    return camera;
}

void TestCameraProvider::unplug(GstHandle<GstDevice> camera) {
    const auto found = std::find(plugged_.begin(), plugged_.end(), camera);
    if (found == plugged_.end()) {
        return;
    }
    plugged_.erase(found);
    GST_OBJECT_LOCK(provider_);
    auto* provider = testProvider(provider_);
    if (GList* item = g_list_find(provider->attached, camera.get())) {
        provider->attached = g_list_delete_link(provider->attached, item);
        gst_object_unref(camera.get());
    }
    GST_OBJECT_UNLOCK(provider_);
    // A provider that stopped has already let go of its cameras.
    if (GST_OBJECT_PARENT(camera.get()) == GST_OBJECT(provider_)) {
        gst_device_provider_device_remove(provider_, camera.get());
    }
}
