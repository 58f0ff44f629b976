#pragma once

#include "CameraPipelineSink.h"
#include "GstHandle.h"

#include <gst/app/gstappsink.h>
#include <gst/video/video.h>
#include <QString>
#include <atomic>
#include <memory>

// One way of running x264 at Nelvo's fixed bit rate, keyframe interval and
// latency: a speed preset and x264 options put back on top of it.
struct X264Configuration {
    const char* name;     // as benchmarks print it
    const char* preset;   // x264enc's speed-preset
    const char* options;  // x264enc's option-string, empty for none
};

// The H.264 compression session of one camera: appsrc -> the best available
// H.264 encoder -> h264parse (avc, au) -> appsink. Real time, High profile, no
// B-frames, a keyframe at least every second, 8000 kbit/s, no lookahead. Made
// for one frame size; the pipeline makes a new one when the size changes.
//
// `encode` is called on the capture thread and never blocks; encoded samples
// and failures reach the sink from the encoder's own thread.
class VideoEncoder {
public:
    static constexpr int maximumFramesEncoding = 2;

    // Null (after printing "Could not create the video compressor") when no
    // encoder can be built for frames of these caps.
    static std::unique_ptr<VideoEncoder> create(CameraPipelineSink& sink, GstCaps* frameCaps);
    ~VideoEncoder();
    VideoEncoder(const VideoEncoder&) = delete;
    VideoEncoder& operator=(const VideoEncoder&) = delete;

    // Encodes the frame unless two are already in flight (then the frame is
    // lost as encoderBehind) or the encoder has failed (lost as encodeFailed).
    // A frame that cannot be read as a picture of its format fails the
    // encoder without reaching it: the x264 element would keep such a frame,
    // and with it the camera's buffers, until the process ends.
    void encode(GstSample* frame);

    // From now on encoded frames are dropped: a newer encoder feeds the
    // recorder, and old frames arriving after its first would break the order.
    void retire() { retired_ = true; }

    int width() const { return width_; }
    int height() const { return height_; }
    int framesEncoding() const { return framesEncoding_.load(); }
    // After an error the encoder stays failed: the pipeline replaces it.
    bool failed() const { return failed_.load(); }
    const QString& encoderName() const { return encoderName_; }

    // The encoder factory Nelvo uses: the first hardware H.264 encoder that
    // starts on this machine, else x264enc. Found once per process, on first
    // use, and logged once; call it off the capture threads (configure).
    static const QString& bestEncoderName();
    // Applies Nelvo's encoder settings to an encoder element made from
    // `factory`, for frames arriving `framesPerSecond` times a second.
    static void configureEncoder(GstElement* encoder, const QString& factory, int framesPerSecond);

    // The x264 configuration Nelvo encodes with: the fastest that gives a
    // High-profile stream whose pictures stay within the encoder study's
    // margins of veryfast's (docs/platform.md has the measurements and rule).
    static const X264Configuration chosenX264;
    // The configuration encoders made from now on use, chosenX264 unless a
    // benchmark compares another one with it.
    static const X264Configuration& x264Configuration();
    static void useX264Configuration(const X264Configuration& configuration);

    // The encoder element, for reading its settings back.
    GstHandle<GstElement> encoderElement() const;

private:
    VideoEncoder(CameraPipelineSink& sink, const GstVideoInfo& frameInfo);
    bool build(GstCaps* frameCaps);
    static GstPadProbeReturn toCaptureTimes(GstPad* pad, GstPadProbeInfo* info, gpointer self);
    static GstFlowReturn onEncoded(GstAppSink* appsink, gpointer self);
    static GstBusSyncReply onBusMessage(GstBus* bus, GstMessage* message, gpointer self);
    void fail(const QString& why);
    bool isReadable(GstBuffer* frame);

    CameraPipelineSink& sink_;
    GstVideoInfo frameInfo_;
    const int width_;
    const int height_;
    QString encoderName_;
    GstHandle<GstElement> pipeline_;
    GstHandle<GstElement> source_;
    std::atomic<int> framesEncoding_{0};
    std::atomic<bool> failed_{false};
    std::atomic<bool> retired_{false};
    GstSegment outputSegment_{};  // on the encoder's streaming thread only
};
