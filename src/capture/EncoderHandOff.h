#pragma once

#include "CameraPipelineSink.h"
#include "EncoderBackOff.h"
#include "GstHandle.h"
#include "SerialQueue.h"
#include "VideoEncoder.h"

#include <atomic>
#include <memory>

// Hands a camera's frames to its H.264 encoder. The encoder is made for the
// first frame and for every new frame size; one that failed, or could not be
// made, is made anew no more often than EncoderBackOff allows, and meanwhile
// frames are lost as encodeFailed. A replaced encoder is stopped on its own
// queue, since stopping waits for its thread.
//
// Threads: encode and stop run on the capture thread that delivers the frames
// ("VideoDataQueue"); invalidate and the counts are safe from any thread.
class EncoderHandOff {
public:
    explicit EncoderHandOff(CameraPipelineSink& sink) : sink_(sink) {}
    EncoderHandOff(const EncoderHandOff&) = delete;
    EncoderHandOff& operator=(const EncoderHandOff&) = delete;

    void encode(GstSample* frame);
    // The next frame is encoded by a new encoder.
    void invalidate() { invalidateRequested_ = true; }
    // Ends the encoder at once and waits until every replaced one is gone.
    // Only while no frame is being encoded (the capture threads are stopped).
    void stop();

    // Encoders made so far and the frames in the current one (tests, logs).
    int encodersCreated() const { return encodersCreated_; }
    int framesEncoding() const { return framesEncoding_; }

private:
    bool needsNewEncoder(GstCaps* caps);
    void retire();

    CameraPipelineSink& sink_;

    // Confined to the capture thread.
    std::unique_ptr<VideoEncoder> encoder_;
    bool encoderUnavailable_ = false;  // the last encoder could not be made
    EncoderBackOff backOff_;
    GstHandle<GstCaps> encoderCaps_;  // caps the encoder was checked against

    std::atomic<bool> invalidateRequested_{false};
    std::atomic<int> encodersCreated_{0};
    std::atomic<int> framesEncoding_{0};

    // Declared last: destroyed first, stopping the retired encoders while
    // the sink they feed is still known.
    SerialQueue teardown_{"EncoderTeardown"};
};
