#pragma once

#include "GstHandle.h"
#include "NetworkCameraLink.h"
#include "NetworkCameraUrl.h"
#include "SerialQueue.h"

#include <QImage>
#include <QSize>
#include <QString>
#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>

// Tries a network camera once, the way Nelvo will watch it, and tells what
// it sends: its first picture, its size, frame rate and codec; or why it
// cannot be watched, in the words the user sees. Everything happens off the
// caller's thread.
class NetworkCameraProbe {
public:
    // How long a camera may take to send its first picture and enough of the
    // stream after it to tell the frame rate.
    static constexpr std::chrono::seconds patience{20};

    struct Result {
        QString problem;  // empty when the camera sent pictures
        QImage picture;
        QSize size;
        double framesPerSecond = 0;
        QString codec;  // "H.264", "H.265" or "MJPEG"
    };
    // Called once, on the probe's own queue.
    using Done = std::function<void(const Result& result)>;

    NetworkCameraProbe(NetworkCameraUrl url, NetworkCredentials credentials, Done done);
    // Stops trying; `done` is not called after it returns.
    ~NetworkCameraProbe();
    NetworkCameraProbe(const NetworkCameraProbe&) = delete;
    NetworkCameraProbe& operator=(const NetworkCameraProbe&) = delete;

    void start();

    // The picture of an encoded sample (H.264, H.265, JPEG); null when it
    // cannot be decoded.
    static QImage pictureOf(GstSample* sample);

private:
    void sampled(GstSample* sample);
    void finish(Result result);
    Result described();

    NetworkCameraLink link_;
    const Done done_;

    // Shared by the stream's thread and the queue.
    std::mutex mutex_;
    GstHandle<GstSample> first_;  // the first keyframe
    GstClockTime firstTime_ = GST_CLOCK_TIME_NONE;
    GstClockTime lastTime_ = GST_CLOCK_TIME_NONE;
    int samplesSinceFirst_ = 0;
    bool described_ = false;

    // Confined to the queue.
    bool finished_ = false;
    std::atomic<bool> abandoned_{false};

    SerialQueue queue_{"NetworkCameraProbe"};
};
