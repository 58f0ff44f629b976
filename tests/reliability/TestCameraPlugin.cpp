// A GStreamer plugin of the reliability tests' own: a device provider
// ("nelvoplugcameras", class "Video/Source") that a separate `nelvo` process
// finds through GST_PLUGIN_PATH and watches like any installed camera provider.
//
// The test drives it through a folder named by NELVO_TEST_CAMERAS: each file
// in it is a camera plugged in, named after the file; removing the file
// unplugs it. The file's first word says what the camera sees: "moving" (a
// ball crossing the picture, so motion triggers) or anything else (still
// colours). An optional second word "WIDTHxHEIGHT@FPS" fixes its frame format
// for the cameras opened afterwards. The folder is read every 100 ms.

#include <gst/gst.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

struct NelvoPlugCamera {
    GstDevice parent;
};
struct NelvoPlugCameraClass {
    GstDeviceClass parentClass;
};
struct NelvoPlugCameraProvider {
    GstDeviceProvider parent;
};
struct NelvoPlugCameraProviderClass {
    GstDeviceProviderClass parentClass;
};

G_DEFINE_TYPE(NelvoPlugCamera, nelvo_plug_camera, GST_TYPE_DEVICE)
G_DEFINE_TYPE(NelvoPlugCameraProvider, nelvo_plug_camera_provider, GST_TYPE_DEVICE_PROVIDER)

namespace {

constexpr const char* providerName = "nelvoplugcameras";

struct Camera {
    GstDevice* device = nullptr;  // owned: one reference
    std::string content;
    std::vector<GWeakRef*> sources;  // the videotestsrc of each element made
};

// The provider's state. GStreamer makes one provider per process.
struct Plugged {
    std::mutex mutex;
    std::map<std::string, Camera> cameras;
    std::thread watcher;
    std::atomic<bool> stopping{false};
};

Plugged& plugged() {
    static Plugged* state = new Plugged;  // lives as long as the loaded plugin
    return *state;
}

std::string firstWord(const std::string& content, int index) {
    std::istringstream words(content);
    std::string word;
    for (int i = 0; i <= index; ++i) {
        if (!(words >> word)) {
            return {};
        }
    }
    return word;
}

const char* patternFor(const std::string& content) {
    return firstWord(content, 0) == "moving" ? "ball" : "colors";
}

std::string readContent(const std::filesystem::path& path) {
    std::ifstream file(path);
    std::stringstream text;
    text << file.rdbuf();
    return text.str();
}

// Every live source of the camera shows what its file says now.
void applyContent(Camera& camera) {
    const char* pattern = patternFor(camera.content);
    auto it = camera.sources.begin();
    while (it != camera.sources.end()) {
        auto* source = static_cast<GstElement*>(g_weak_ref_get(*it));
        if (!source) {
            g_weak_ref_clear(*it);
            delete *it;
            it = camera.sources.erase(it);
            continue;
        }
        gst_util_set_object_arg(G_OBJECT(source), "pattern", pattern);
        gst_object_unref(source);
        ++it;
    }
}

GstDevice* makeCamera(const std::string& name) {
    GstCaps* caps = gst_caps_new_empty_simple("video/x-raw");
    auto* device = static_cast<GstDevice*>(
        g_object_new(nelvo_plug_camera_get_type(), "display-name", name.c_str(), "device-class",
                     "Video/Source", "caps", caps, nullptr));
    gst_caps_unref(caps);
    return GST_DEVICE(gst_object_ref_sink(device));
}

void poll(GstDeviceProvider* provider, const std::filesystem::path& folder) {
    std::map<std::string, std::string> present;
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
        if (entry.is_regular_file(error)) {
            present[entry.path().filename().string()] = readContent(entry.path());
        }
    }
    std::vector<GstDevice*> added;
    std::vector<GstDevice*> removed;
    {
        std::lock_guard lock(plugged().mutex);
        auto& cameras = plugged().cameras;
        for (auto it = cameras.begin(); it != cameras.end();) {
            if (!present.count(it->first)) {
                removed.push_back(it->second.device);
                for (GWeakRef* ref : it->second.sources) {
                    g_weak_ref_clear(ref);
                    delete ref;
                }
                it = cameras.erase(it);
            } else {
                ++it;
            }
        }
        for (const auto& [name, content] : present) {
            auto found = cameras.find(name);
            if (found == cameras.end()) {
                Camera camera;
                camera.device = makeCamera(name);
                camera.content = content;
                added.push_back(GST_DEVICE(gst_object_ref(camera.device)));
                cameras.emplace(name, std::move(camera));
            } else if (found->second.content != content) {
                found->second.content = content;
                applyContent(found->second);
            }
        }
    }
    for (GstDevice* device : added) {
        gst_device_provider_device_add(provider, device);
        gst_object_unref(device);
    }
    for (GstDevice* device : removed) {
        gst_device_provider_device_remove(provider, device);
        gst_object_unref(device);
    }
}

GstElement* createCameraElement(GstDevice* device, const gchar* name) {
    gchar* displayName = gst_device_get_display_name(device);
    const std::string cameraName = displayName ? displayName : "";
    g_free(displayName);

    std::lock_guard lock(plugged().mutex);
    auto found = plugged().cameras.find(cameraName);
    const std::string content = found == plugged().cameras.end() ? "" : found->second.content;
    std::string description = "videotestsrc name=picture is-live=true pattern=";
    description += patternFor(content);
    int width = 0;
    int height = 0;
    int rate = 0;
    if (std::sscanf(firstWord(content, 1).c_str(), "%dx%d@%d", &width, &height, &rate) == 3) {
        description += " ! capsfilter caps=video/x-raw,format=I420,width=" + std::to_string(width) +
                       ",height=" + std::to_string(height) + ",framerate=" + std::to_string(rate) +
                       "/1";
    }
    GError* error = nullptr;
    GstElement* bin = gst_parse_bin_from_description(description.c_str(), TRUE, &error);
    if (!bin) {
        g_clear_error(&error);
        return nullptr;
    }
    if (name) {
        gst_object_set_name(GST_OBJECT(bin), name);
    }
    if (found != plugged().cameras.end()) {
        GstElement* picture = gst_bin_get_by_name(GST_BIN(bin), "picture");
        auto* ref = new GWeakRef;
        g_weak_ref_init(ref, picture);
        found->second.sources.push_back(ref);
        gst_object_unref(picture);
    }
    return bin;
}

gboolean startProvider(GstDeviceProvider* provider) {
    const char* folder = g_getenv("NELVO_TEST_CAMERAS");
    if (!folder) {
        return TRUE;  // nothing plugged in, ever
    }
    Plugged& state = plugged();
    state.stopping = false;
    // The cameras already attached are announced before start returns.
    poll(provider, folder);
    state.watcher = std::thread([provider, path = std::filesystem::path(folder)] {
        while (!plugged().stopping) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            poll(provider, path);
        }
    });
    return TRUE;
}

void stopProvider(GstDeviceProvider*) {
    Plugged& state = plugged();
    state.stopping = true;
    if (state.watcher.joinable()) {
        state.watcher.join();
    }
    std::lock_guard lock(state.mutex);
    for (auto& [name, camera] : state.cameras) {
        for (GWeakRef* ref : camera.sources) {
            g_weak_ref_clear(ref);
            delete ref;
        }
        gst_object_unref(camera.device);
    }
    state.cameras.clear();
}

gboolean registerPlugin(GstPlugin* plugin) {
    return gst_device_provider_register(plugin, providerName, GST_RANK_PRIMARY,
                                        nelvo_plug_camera_provider_get_type());
}

}  // namespace

static void nelvo_plug_camera_class_init(NelvoPlugCameraClass* klass) {
    GST_DEVICE_CLASS(klass)->create_element = createCameraElement;
}

static void nelvo_plug_camera_init(NelvoPlugCamera*) {}

static void nelvo_plug_camera_provider_class_init(NelvoPlugCameraProviderClass* klass) {
    GstDeviceProviderClass* providerClass = GST_DEVICE_PROVIDER_CLASS(klass);
    providerClass->start = startProvider;
    providerClass->stop = stopProvider;
    gst_device_provider_class_set_static_metadata(
        providerClass, "Nelvo plug-in test cameras", "Video/Source",
        "Cameras a test plugs in and out through a folder", "Nelvo");
}

static void nelvo_plug_camera_provider_init(NelvoPlugCameraProvider*) {}

#define PACKAGE "nelvo-tests"
GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, nelvoplugcameras,
                  "Cameras for Nelvo's reliability tests", registerPlugin, "1.0", "Proprietary",
                  "nelvo-tests", "https://nelvo.io")
