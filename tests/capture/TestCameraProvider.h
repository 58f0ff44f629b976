#pragma once

#include "GstHandle.h"

#include <gst/gst.h>
#include <QString>
#include <QVariantMap>
#include <vector>

// A GStreamer device provider of the tests' own ("nelvotestcameras", class
// "Video/Source"), registered in this process like any installed provider.
// Any device monitor filtering on "Video/Source" that is created afterwards
// watches it; the test plugs cameras in and out of it while the monitor
// runs, and each camera makes a live videotestsrc.
class TestCameraProvider {
public:
    // Registers the provider (once per process) and takes hold of it.
    // Create it before any device monitor.
    TestCameraProvider();
    // Unplugs the cameras still plugged in.
    ~TestCameraProvider();
    TestCameraProvider(const TestCameraProvider&) = delete;
    TestCameraProvider& operator=(const TestCameraProvider&) = delete;

    // A camera named `name` whose device properties are `properties`
    // (string values, e.g. "device.path" or "node.name"); not plugged in.
    static GstHandle<GstDevice> makeCamera(const QString& name, const QVariantMap& properties);

    // Plugs a camera in and returns it. A started provider announces it at
    // once, a stopped one when it starts, as real ones list what is attached.
    GstHandle<GstDevice> plug(const QString& name, const QVariantMap& properties);
    // Unplugs it (a started provider announces its removal).
    void unplug(GstHandle<GstDevice> camera);

private:
    GstDeviceProvider* provider_ = nullptr;
    std::vector<GstHandle<GstDevice>> plugged_;
};
