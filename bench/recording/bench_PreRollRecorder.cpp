// The recorder's cost while a movie is open, the time a 60 s movie takes to
// finish after stop, and the memory the rings hold at 30 s of 1080p pre-roll.
#include "Defaults.h"
#include "EncodedStream.h"
#include "PreRollRecorder.h"
#include "SettingsKeys.h"

#include <QCoreApplication>
#include <QTemporaryDir>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>

namespace {

using Samples = std::vector<GstHandle<GstSample>>;
using SteadyClock = std::chrono::steady_clock;

// `seconds` of frames made by repeating the encoded clip on a running timeline.
Samples looped(const Samples& clip, double clipSeconds, double seconds) {
    Samples out;
    for (int round = 0; round * clipSeconds < seconds; ++round) {
        for (const auto& sample : clip) {
            const auto offset = static_cast<GstClockTimeDiff>(round * clipSeconds * GST_SECOND);
            if (EncodedStream::pts(sample) + offset < seconds * GST_SECOND) {
                out.push_back(EncodedStream::shifted(
                    sample, offset + static_cast<GstClockTimeDiff>(GST_SECOND)));
            }
        }
    }
    return out;
}

struct Done {
    std::mutex mutex;
    std::condition_variable changed;
    bool finished = false;
    void wait() {
        std::unique_lock lock(mutex);
        changed.wait(lock, [&] { return finished; });
    }
    MovieRecorder::Completion completion() {
        return [this](const QString&, std::optional<Error>) {
            std::lock_guard lock(mutex);
            finished = true;
            changed.notify_all();
        };
    }
};

void feed(PreRollRecorder& recorder, const Samples& video, const Samples& audio) {
    std::size_t a = 0;
    for (const auto& frame : video) {
        while (a < audio.size() && EncodedStream::pts(audio[a]) <= EncodedStream::pts(frame)) {
            recorder.appendAudio(audio[a++]);
        }
        recorder.appendVideo(frame);
    }
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    Defaults defaults(dir.filePath("Nelvo.conf"));
    defaults.set(SettingsKeys::preRollSeconds, 30.0);

    const Samples videoClip = EncodedStream::video(10, {640, 360, 30});
    const Samples audioClip = EncodedStream::audio(10);
    const Samples video = looped(videoClip, 10, 60);
    const Samples audio = looped(audioClip, 10, 60);

    // Queue work per video sample while a movie is open: append, trim, route, pump.
    {
        PreRollRecorder recorder(defaults);
        Done done;
        recorder.start(dir.filePath("open.mov"), done.completion());
        recorder.queue().drain();
        const std::size_t batch = video.size();
        const auto began = SteadyClock::now();
        feed(recorder, video, audio);
        recorder.queue().drain();
        const double perSample =
            std::chrono::duration<double, std::micro>(SteadyClock::now() - began).count() / batch;
        std::printf("recorder_queue_work_per_video_sample: %.1f us\n", perSample);

        // Stop -> onFinish for the 60 s movie, once the writer has caught up
        // as it has in real time.
        std::this_thread::sleep_for(std::chrono::seconds(3));
        const auto stopped = SteadyClock::now();
        recorder.stop();
        done.wait();
        std::printf(
            "recorder_stop_to_finish_60s_movie: %.1f ms\n",
            std::chrono::duration<double, std::milli>(SteadyClock::now() - stopped).count());
    }

    // Ring memory at 30 s of pre-roll of 8 Mbit/s 1080p: frames of the size
    // such an encoder makes (a keyframe every second), plus 48 kHz stereo PCM.
    {
        Gst::ensureInitialised();
        PreRollRecorder recorder(defaults);
        const std::size_t frameBytes = 8'000'000 / 8 / 30;
        GstHandle<GstCaps> videoCaps = GstHandle<GstCaps>::adopt(gst_caps_from_string(
            "video/x-h264,stream-format=avc,alignment=au,width=1920,height=1080"));
        GstHandle<GstCaps> audioCaps = GstHandle<GstCaps>::adopt(gst_caps_from_string(
            "audio/x-raw,format=F32LE,layout=interleaved,rate=48000,channels=2"));
        // The bench keeps its own reference to every buffer: a buffer with a
        // second reference is one the rings still hold.
        std::vector<GstHandle<GstBuffer>> fed;
        auto push = [&](GstBuffer* buffer, GstCaps* caps, bool video) {
            fed.push_back(GstHandle<GstBuffer>::ref(buffer));
            auto sample =
                GstHandle<GstSample>::adopt(gst_sample_new(buffer, caps, nullptr, nullptr));
            gst_buffer_unref(buffer);
            video ? recorder.appendVideo(std::move(sample))
                  : recorder.appendAudio(std::move(sample));
        };
        const int seconds = 40;
        for (int i = 0; i < seconds * 30; ++i) {
            GstBuffer* buffer = gst_buffer_new_allocate(nullptr, frameBytes, nullptr);
            GST_BUFFER_PTS(buffer) = GST_SECOND + i * GST_SECOND / 30;
            GST_BUFFER_DURATION(buffer) = GST_SECOND / 30;
            if (i % 30 != 0) {
                GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT);
            }
            push(buffer, videoCaps.get(), true);
            for (int k = 0; k < 5 && i % 3 == 0; ++k) {  // 50 buffers/s of 20 ms
                const int index = i / 3 * 5 + k;
                GstBuffer* pcm = gst_buffer_new_allocate(nullptr, 960 * 2 * 4, nullptr);
                GST_BUFFER_PTS(pcm) = GST_SECOND + index * GST_SECOND / 50;
                push(pcm, audioCaps.get(), false);
            }
        }
        recorder.queue().drain();
        std::size_t videoBytes = 0;
        std::size_t audioBytes = 0;
        for (const auto& buffer : fed) {
            if (GST_MINI_OBJECT_REFCOUNT_VALUE(buffer.get()) > 1) {
                (gst_buffer_get_size(buffer.get()) == frameBytes ? videoBytes : audioBytes) +=
                    gst_buffer_get_size(buffer.get());
            }
        }
        std::printf("ring_memory_30s_preroll_8mbit_1080p_video: %.1f MB\n", videoBytes / 1e6);
        std::printf("ring_memory_32s_pcm_48khz_stereo_f32_audio: %.1f MB\n", audioBytes / 1e6);
        const std::size_t heldBytes = videoBytes + audioBytes;
        std::printf("ring_memory_30s_preroll_total: %.1f MB\n", heldBytes / 1e6);
    }
    return 0;
}
