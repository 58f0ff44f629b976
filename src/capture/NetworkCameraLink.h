#pragma once

#include "GstHandle.h"
#include "NetworkCameraUrl.h"
#include "ReconnectBackOff.h"
#include "SerialQueue.h"

#include <QString>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>

// The user name and password of a network camera. Handed to the stream's
// element as properties only; never logged, stored in settings or put on a
// command line.
struct NetworkCredentials {
    QString user;
    QString password;
};

// The connection to one network camera: its own small pipeline that receives
// the stream (RTSP: the camera's H.264 or H.265, depayloaded and parsed, one
// access unit per sample; HTTP: one JPEG picture per sample) and hands each
// sample over as it comes. A camera that refuses, does not answer, stops
// sending or ends its stream is tried again with ReconnectBackOff, for as
// long as the link runs; what went wrong is logged in plain words.
//
// Threads: connecting, tearing down and the watch for silence run on the
// link's own queue; samples and lost packets are reported on the stream's
// thread.
class NetworkCameraLink {
public:
    static constexpr std::chrono::milliseconds silenceLimit{10000};

    struct Handlers {
        // Each sample, its times in the stream's running time.
        std::function<void(GstSample* sample)> sample;
        // A frame lost packets on the way.
        std::function<void()> packetLost;
        // A new connection is about to deliver (its clock starts anew).
        std::function<void()> connected;
        // A connection failed, with why in the words the user sees (the
        // link's queue; the link tries again unless stopped).
        std::function<void(const QString& why)> failed;
    };

    NetworkCameraLink(NetworkCameraUrl url, NetworkCredentials credentials, QString name,
                      Handlers handlers);
    ~NetworkCameraLink();
    NetworkCameraLink(const NetworkCameraLink&) = delete;
    NetworkCameraLink& operator=(const NetworkCameraLink&) = delete;

    // Connects, and keeps connecting until stop.
    void start();
    // Disconnects; no handler runs after it returns.
    void stop();

    // Why a camera could not be read, in the words the user sees.
    static QString refusedText();
    static QString nothingAnsweredText();
    static QString notFoundText();
    static QString noPicturesText();
    static QString unsupportedText();

private:
    void connect();
    bool buildRtsp();
    bool buildMjpeg();
    void failed(std::uint64_t generation, const QString& why);
    void watch(std::uint64_t generation);
    void tearDown();
    void delivered(GstSample* sample);
    static QString reasonOf(GstMessage* error, bool unsupportedSeen, bool delivered);
    static GstBusSyncReply onBusMessage(GstBus* bus, GstMessage* message, gpointer self);
    static gboolean onSelectStream(GstElement* source, guint index, GstCaps* caps, gpointer self);
    static void onPadAdded(GstElement* source, GstPad* pad, gpointer self);
    static GstFlowReturn onSample(GstElement* sink, gpointer self);
    static GstPadProbeReturn onDepayloaderEvent(GstPad* pad, GstPadProbeInfo* info, gpointer self);

    const NetworkCameraUrl url_;
    const NetworkCredentials credentials_;
    const QString name_;
    const Handlers handlers_;

    // Confined to the queue.
    GstHandle<GstElement> pipeline_;
    ReconnectBackOff backOff_;
    bool running_ = false;

    // The connection the stream's thread reports for; bumped on every
    // teardown so that late reports of an old connection are ignored.
    std::atomic<std::uint64_t> generation_{0};
    std::atomic<bool> unsupportedSeen_{false};
    // An HTTP camera's connection failed before any answer (status 0).
    std::atomic<bool> unanswered_{false};
    std::atomic<bool> delivering_{false};
    std::atomic<std::int64_t> lastSampleMs_{0};
    std::atomic<bool> stopping_{false};
    // The time of the last frame a packet went missing from (the stream's thread).
    GstClockTime lastLostFrame_ = GST_CLOCK_TIME_NONE;

    SerialQueue queue_{"NetworkCamera"};
};
