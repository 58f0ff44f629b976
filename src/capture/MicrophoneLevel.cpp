#include "MicrophoneLevel.h"

#include "SoundLevel.h"

#include <gst/audio/audio.h>
#include <cmath>
#include <limits>

namespace {

constexpr double noLevel = std::numeric_limits<double>::quiet_NaN();

}  // namespace

MicrophoneLevel::MicrophoneLevel() : level_(noLevel) {}

void MicrophoneLevel::measure(GstSample* pcm) {
    GstCaps* caps = gst_sample_get_caps(pcm);
    if (caps != caps_.get()) {
        GstAudioInfo info;
        caps_ = GstHandle<GstCaps>::ref(caps);
        channels_ = caps && gst_audio_info_from_caps(&info, caps) ? info.channels : 0;
    }
    GstBuffer* buffer = gst_sample_get_buffer(pcm);
    GstMapInfo map;
    if (channels_ > 0 && buffer && gst_buffer_map(buffer, &map, GST_MAP_READ)) {
        level_ = SoundLevel::averagePowerLevel(reinterpret_cast<const gint16*>(map.data),
                                               map.size / (2 * channels_), channels_);
        gst_buffer_unmap(buffer, &map);
    }
}

std::optional<double> MicrophoneLevel::level() const {
    const double level = level_.load();
    if (std::isnan(level)) {
        return std::nullopt;
    }
    return level;
}

void MicrophoneLevel::forget() {
    caps_.reset();
    channels_ = 0;
    level_ = noLevel;
}
