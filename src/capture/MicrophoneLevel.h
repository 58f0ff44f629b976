#pragma once

#include "GstHandle.h"

#include <gst/gst.h>
#include <atomic>
#include <optional>

// The microphone's level for the sound meter: the average power of the
// newest audio buffer, in dBFS. Buffers are measured on the audio capture
// thread ("AudioDataQueue"); the level is read from any thread.
class MicrophoneLevel {
public:
    MicrophoneLevel();

    // An interleaved S16LE sample; one whose caps give no channels is not measured.
    void measure(GstSample* pcm);
    // Absent until a buffer is measured, and again after forget.
    std::optional<double> level() const;
    // Only while no buffer is being measured (the capture threads are stopped).
    void forget();

private:
    // Confined to the audio capture thread.
    GstHandle<GstCaps> caps_;
    int channels_ = 0;

    std::atomic<double> level_;
};
