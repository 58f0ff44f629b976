#pragma once

#include "EncodedStream.h"
#include "Error.h"
#include "PreRollRecorder.h"

#include <QString>
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

// Shared by the recorder tests and the crash child: encoded media on a capture
// clock that starts at `origin`, fed in presentation order.
struct RecorderMedia {
    static constexpr GstClockTime origin = 1000 * GST_SECOND;
    std::vector<GstHandle<GstSample>> video;
    std::vector<GstHandle<GstSample>> audio;

    static RecorderMedia make(double seconds,
                              const EncodedStream::AudioOptions& audioOptions = {}) {
        RecorderMedia media;
        for (const auto& sample : EncodedStream::video(seconds)) {
            media.video.push_back(EncodedStream::shifted(sample, origin));
        }
        for (const auto& sample : EncodedStream::audio(seconds, audioOptions)) {
            media.audio.push_back(EncodedStream::shifted(sample, origin));
        }
        return media;
    }

    // Seconds after the origin.
    static double at(const GstHandle<GstSample>& sample) {
        return static_cast<double>(EncodedStream::pts(sample) - origin) / GST_SECOND;
    }

    // Feeds every sample with from <= time < to (seconds after the origin),
    // video before audio at equal times; paced in real time when asked.
    void feed(PreRollRecorder& recorder, double from, double to, bool realTime = false,
              bool withVideo = true, bool withAudio = true) const {
        std::size_t v = 0;
        std::size_t a = 0;
        const auto began = std::chrono::steady_clock::now();
        auto nextVideo = [&] {
            while (v < video.size() && at(video[v]) < from)
                ++v;
            return withVideo && v < video.size() && at(video[v]) < to;
        };
        auto nextAudio = [&] {
            while (a < audio.size() && at(audio[a]) < from)
                ++a;
            return withAudio && a < audio.size() && at(audio[a]) < to;
        };
        while (nextVideo() || nextAudio()) {
            const bool takeVideo = nextVideo() && (!nextAudio() || at(video[v]) <= at(audio[a]));
            const GstHandle<GstSample>& sample = takeVideo ? video[v] : audio[a];
            if (realTime) {
                std::this_thread::sleep_until(began +
                                              std::chrono::duration<double>(at(sample) - from));
            }
            if (takeVideo) {
                recorder.appendVideo(video[v++]);
            } else {
                recorder.appendAudio(audio[a++]);
            }
        }
    }

    int videoFramesFrom(double from, double to) const {
        return static_cast<int>(std::count_if(video.begin(), video.end(), [&](const auto& s) {
            return at(s) >= from - 1e-9 && at(s) < to;
        }));
    }
    // The newest keyframe at or before t (seconds after the origin).
    double keyframeAtOrBefore(double t) const {
        double found = 0;
        for (const auto& sample : video) {
            if (EncodedStream::isKeyframe(sample) && at(sample) <= t + 1e-9) {
                found = at(sample);
            }
        }
        return found;
    }
    double keyframeAfter(double t) const {
        for (const auto& sample : video) {
            if (EncodedStream::isKeyframe(sample) && at(sample) > t + 1e-9) {
                return at(sample);
            }
        }
        return -1;
    }
};

// Collects onFinish calls, which arrive on the recorder's side.
class Finishes {
public:
    struct Call {
        QString path;
        std::optional<Error> error;
    };

    MovieRecorder::Completion completion() {
        return [this](const QString& path, std::optional<Error> error) {
            std::lock_guard lock(mutex_);
            calls_.push_back({path, std::move(error)});
            changed_.notify_all();
        };
    }
    bool waitFor(std::size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(20)) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, timeout, [&] { return calls_.size() >= count; });
    }
    std::vector<Call> calls() {
        std::lock_guard lock(mutex_);
        return calls_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Call> calls_;
};
