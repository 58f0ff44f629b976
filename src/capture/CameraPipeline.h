#pragma once

#include "CameraPipelineDelegate.h"
#include "CameraPipelineSink.h"
#include "CaptureSource.h"
#include "EncoderHandOff.h"
#include "GstHandle.h"
#include "MicrophoneLevel.h"
#include "MotionDetectRenderer.h"
#include "SerialQueue.h"

#include <gst/app/gstappsink.h>
#include <QString>
#include <atomic>
#include <memory>
#include <optional>

class Defaults;

// One capture chain: a camera and optionally a microphone in one GStreamer
// capture session, every frame encoded to H.264 for the recorder and compared
// with the one before it for motion. It measures, encodes and feeds the
// recorder; it never decides whether to record.
//
// Threads: the video appsink's streaming thread is the "VideoDataQueue" (the
// queue element of that name), the audio one the "AudioDataQueue"; measuring
// runs on the serial "DetectionQueue"; configure and start/stop run on the
// owner's session queue.
class CameraPipeline {
public:
    static constexpr int skipPixels = MotionDetectRenderer::skipPixels;

    CameraPipeline(Defaults& defaults, CameraPipelineSink& recorder,
                   std::shared_ptr<CaptureSource> camera,
                   std::shared_ptr<CaptureSource> microphone);
    ~CameraPipeline();
    CameraPipeline(const CameraPipeline&) = delete;
    CameraPipeline& operator=(const CameraPipeline&) = delete;

    void setDelegate(std::weak_ptr<CameraPipelineDelegate> delegate);
    // Takes effect at the next configure.
    void setDevices(std::shared_ptr<CaptureSource> camera,
                    std::shared_ptr<CaptureSource> microphone);
    const std::shared_ptr<CaptureSource>& camera() const { return camera_; }
    const std::shared_ptr<CaptureSource>& microphone() const { return microphone_; }

    // Builds the capture session from the devices; prints what it could not
    // use. False when an output could not be added. Stops a running session.
    bool configure();
    void startRunning();
    void stopRunning();
    bool isRunning() const { return running_; }

    // The microphone's level in dBFS for the meter; absent without a
    // microphone or before it delivered audio. Safe from any thread.
    std::optional<double> audioLevel() const;

    // Ends the encoder; the next frame makes a new one.
    void invalidateCompression() { encoder_.invalidate(); }

    void setWantsPreview(bool wanted) { wantsPreview_ = wanted; }
    bool wantsPreview() const { return wantsPreview_; }

    // Encoders made so far and the size of the current one (tests, logs).
    int compressionSessionsCreated() const { return encoder_.encodersCreated(); }
    int framesEncoding() const { return encoder_.framesEncoding(); }

    SerialQueue& detectionQueue() { return detectionQueue_; }

private:
    static GstFlowReturn onVideoSample(GstAppSink* sink, gpointer self);
    static GstFlowReturn onAudioSample(GstAppSink* sink, gpointer self);
    static void onVideoDropped(GstElement* queue, gpointer self);
    static GstBusSyncReply onBusMessage(GstBus* bus, GstMessage* message, gpointer self);

    // The elements between a device and its appsink; the session holds its
    // own references once they are added.
    struct Branch {
        GstHandle<GstElement> convert;
        GstHandle<GstElement> format;
        GstHandle<GstElement> queue;
        GstHandle<GstElement> sink;
    };

    bool addVideo(GstBin* session);
    bool addAudio(GstBin* session);
    void reportRefusal();
    bool attach(GstBin* session, const GstHandle<GstElement>& source, const Branch& branch,
                const GstAppSinkCallbacks& callbacks, const QString& failureLine);
    void tearDownSession();
    void handleFrame(GstHandle<GstSample> sample);
    void detectMotion();
    void measureMotion(const MotionImage& image);

    Defaults& defaults_;
    CameraPipelineSink& recorder_;
    std::shared_ptr<CaptureSource> camera_;
    std::shared_ptr<CaptureSource> microphone_;
    std::weak_ptr<CameraPipelineDelegate> delegate_;
    GstHandle<GstElement> session_;
    bool running_ = false;
    bool cameraIsLive_ = true;          // set while the session is down
    bool cameraFeedsRecorder_ = false;  // set while the session is down: nothing to encode
    std::optional<Error> refusal_;      // a device the system refused at the last configure

    // Confined to the video streaming thread ("VideoDataQueue").
    EncoderHandOff encoder_;
    GstHandle<GstCaps> rendererCaps_;  // caps the renderer was checked against
    MotionDetectRenderer motionDetectRenderer_;
    GstHandle<GstSample> lastSampleBuffer_;
    GstHandle<GstSample> currentSampleBuffer_;

    // Measured on the audio streaming thread ("AudioDataQueue").
    MicrophoneLevel microphoneLevel_;

    // Confined to the detection queue.
    std::optional<QString> cameraID_;
    std::optional<QString> thresholdKey_;

    std::atomic<bool> wantsPreview_{false};
    std::atomic<bool> hasMicrophone_{false};

    // Declared last: destroyed first, running what is still enqueued while
    // everything above is alive.
    SerialQueue detectionQueue_{"DetectionQueue"};
};
