// Capture figures: sparse motion measurement against a full-frame one, the
// whole armed pipeline's CPU against a bare capture-and-encode pipeline, and
// frames lost over a minute of 720p30 and of 1080p30; the real camera clip
// armed with the old and the chosen encoder settings, thread by thread.
#include "BlurredGrid.h"
#include "CameraPipeline.h"
#include "CaptureBench.h"
#include "ClipCamera.h"
#include "Defaults.h"
#include "DemoCamera.h"
#include "MappedVideoFrame.h"
#include "MotionDetectRenderer.h"
#include "MotionNoise.h"
#include "SettingsKeys.h"

#include <gst/video/video.h>
#include <QCoreApplication>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

namespace {

using CaptureBench::processCpuSeconds;
using CaptureBench::wallSeconds;

GstHandle<GstSample> noisyFrame(int width, int height, unsigned seed, int objectLeft) {
    GstVideoInfo info;
    gst_video_info_set_format(&info, GST_VIDEO_FORMAT_I420, width, height);
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), nullptr);
    GstMapInfo map;
    gst_buffer_map(buffer, &map, GST_MAP_WRITE);
    std::mt19937 generator(seed);
    std::normal_distribution<double> noise(0, 2);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const bool object = x >= objectLeft && x < objectLeft + width / 8 && y > height / 4 &&
                                y < height * 3 / 4;
            map.data[y * width + x] = static_cast<guint8>(std::clamp(
                (object ? 40 : 150 + 40 * x / width) + static_cast<int>(noise(generator)), 0, 255));
        }
    }
    std::fill(map.data + width * height, map.data + map.size, 128);
    gst_buffer_unmap(buffer, &map);
    auto caps = GstHandle<GstCaps>::adopt(gst_video_info_to_caps(&info));
    auto sample = GstHandle<GstSample>::adopt(gst_sample_new(buffer, caps.get(), nullptr, nullptr));
    gst_buffer_unref(buffer);
    return sample;
}

// Two noisy frames of one size, the object moved by `moved` pixels between
// them, mapped for reading, and a renderer prepared for them.
struct NoisyPair {
    NoisyPair(int width, int height, unsigned seed, int objectLeft, int moved)
        : before(noisyFrame(width, height, seed, objectLeft)),
          after(noisyFrame(width, height, seed + 1, objectLeft + moved)) {
        renderer.prepare(gst_sample_get_caps(before.get()), 3);
    }

    const GstHandle<GstSample> before;
    const GstHandle<GstSample> after;
    const MappedVideoFrame a{before.get()};
    const MappedVideoFrame b{after.get()};
    MotionDetectRenderer renderer;
};

// The preview's full-frame mask at the demo camera's size.
double fullFrame720pMs() {
    NoisyPair pair(1280, 720, 3, 300, 60);
    std::vector<guint8> mask(1280 * 720);
    const int runs = 100;
    const double start = wallSeconds();
    for (int i = 0; i < runs; ++i) {
        pair.renderer.renderFullFrameMask(pair.a, pair.b, mask.data());
    }
    return (wallSeconds() - start) * 1000 / runs;
}

void benchMotion() {
    NoisyPair pair(1920, 1080, 1, 400, 80);
    MotionImage image;
    image.resize(1920, 1080, MotionDetectRenderer::skipPixels);
    BlurredGrid kept;
    BlurredGrid arrived;
    kept.resize(1920, 1080, MotionDetectRenderer::skipPixels);
    arrived.resize(1920, 1080, MotionDetectRenderer::skipPixels);
    kept.blur(pair.a.plane(0), pair.a.stride(0));
    arrived.blur(pair.b.plane(0), pair.b.stride(0));
    // The decision from the camera's noise, once it has settled (the fixed
    // threshold before is cheaper).
    MotionNoise noise;
    noise.resize(image, 30);
    while (!noise.settled()) {
        noise.judge(kept, arrived, image);
    }

    // What each frame costs: its own grid, judged against the one kept.
    // The median frame too, and the decision alone: on a busy machine other
    // work takes the core in the middle of some frames, not of most.
    const int sparseRuns = 500;
    std::vector<double> frameMs;
    std::vector<double> decisionMs;
    double start = wallSeconds();
    for (int i = 0; i < sparseRuns; ++i) {
        const double frameStart = wallSeconds();
        arrived.blur(pair.b.plane(0), pair.b.stride(0));
        const double decisionStart = wallSeconds();
        noise.judge(kept, arrived, image);
        const double end = wallSeconds();
        frameMs.push_back((end - frameStart) * 1000);
        decisionMs.push_back((end - decisionStart) * 1000);
    }
    const double sparseMs = (wallSeconds() - start) * 1000 / sparseRuns;
    std::printf("motion_measure_1080p_median_ms: %.3f ms (the decision alone %.3f ms)\n",
                CaptureBench::median(frameMs), CaptureBench::median(decisionMs));

    // The full-frame way: blur the difference at every pixel, then read the
    // same grid.
    std::vector<guint8> mask(1920 * 1080);
    const int fullRuns = 50;
    int moved = 0;
    start = wallSeconds();
    for (int i = 0; i < fullRuns; ++i) {
        pair.renderer.renderFullFrameMask(pair.a, pair.b, mask.data());
        for (int y = 0; y < 1079; y += 20) {
            for (int x = 0; x < 1919; x += 20) {
                moved += mask[y * 1920 + x];
            }
        }
    }
    const double fullMs = (wallSeconds() - start) * 1000 / fullRuns;
    std::printf("motion_measure_1080p_ms: %.3f ms\n", sparseMs);
    std::printf("motion_fullframe_1080p_ms: %.2f ms\n", fullMs);
    std::printf("motion_speedup: %.1f x\n", fullMs / sparseMs);
    std::printf("motion_fullframe_720p_ms: %.2f ms (the preview's mask, one core)\n",
                fullFrame720pMs());
    std::fflush(stdout);
    (void)moved;
}

// Counts what the pipeline feeds; the recorder's rings are not part of this figure.
class TallySink : public CameraPipelineSink {
public:
    void appendVideo(GstHandle<GstSample>) override { ++video; }
    void appendAudio(GstHandle<GstSample>) override {}
    void setNewestFrame(GstHandle<GstSample> frame) override {
        std::lock_guard guard(mutex);
        newest = std::move(frame);
    }
    void recordLoss(CaptureLoss reason) override {
        ++lost;
        if (reason == CaptureLoss::encoderBehind) {
            ++encoderBehind;
        }
    }
    void reset() override {}
    std::atomic<long long> video{0};
    std::atomic<long long> lost{0};
    std::atomic<long long> encoderBehind{0};  // of `lost`
    std::mutex mutex;
    GstHandle<GstSample> newest;
};

class CountingDelegate : public CameraPipelineDelegate {
public:
    void motionMeasured(CameraPipeline&, double, bool) override { ++measured; }
    void sessionError(CameraPipeline&, std::optional<Error>) override {}
    std::atomic<long long> measured{0};
};

// The armed pipeline on a counted test camera, measured like the bare one.
CaptureBench::SteadyCpu nelvoSteadyCpu(Defaults& defaults, int width, int height, long long from,
                                       long long count, long long& lost) {
    TallySink sink;
    auto delegate = std::make_shared<CountingDelegate>();
    auto camera =
        std::make_shared<CaptureBench::CountedTestCamera>(width, height, from + count + 60);
    CameraPipeline pipeline(defaults, sink, camera, nullptr);
    pipeline.setDelegate(delegate);
    pipeline.configure();
    pipeline.startRunning();
    const CaptureBench::SteadyCpu cpu = CaptureBench::cpuBetweenFrames(camera->frames, from, count);
    pipeline.stopRunning();
    lost = sink.lost;
    return cpu;
}

double msPerFrame(const CaptureBench::SteadyCpu& cpu) {
    return cpu.seconds * 1000 / std::max(1LL, cpu.frames);
}

void printThreads(const char* side, const char* name,
                  const std::vector<CaptureBench::SteadyCpu>& runs) {
    std::map<QString, double> seconds;
    long long frames = 0;
    for (const auto& run : runs) {
        frames += run.frames;
        for (const auto& [kind, cpu] : run.threadSeconds) {
            seconds[kind] += cpu;
        }
    }
    for (const auto& [kind, cpu] : seconds) {
        if (cpu > 0) {
            QString label = kind;
            label.replace(QRegularExpression(QStringLiteral("[^A-Za-z]+")), QStringLiteral("_"));
            std::printf("armed_cpu_%s_%s_thread_%s_ms_per_frame: %.2f ms\n", side, name,
                        qPrintable(label), cpu * 1000 / std::max(1LL, frames));
        }
    }
}

// The armed pipeline against the bare one on the same live test camera, in
// their steady state: CPU from the 30th frame for 300 frames (10 s), so that
// start-up (x264's threads, its first keyframe, the encoder Nelvo makes at the
// first frame) and teardown weigh on neither side. Five rounds, bare and
// armed one after the other in each, and the median round's ratio: other work
// on the machine moves single runs by several percent.
void benchArmedCpu(Defaults& defaults, const char* name, int width, int height) {
    const long long from = 30;
    const long long count = 300;
    const int rounds = 5;
    std::vector<CaptureBench::SteadyCpu> bare;
    std::vector<CaptureBench::SteadyCpu> nelvo;
    std::vector<double> bareMs;
    std::vector<double> nelvoMs;
    std::vector<double> ratios;
    std::vector<double> queuedRatios;
    long long lost = 0;
    for (int round = 0; round < rounds; ++round) {
        CaptureBench::CountedTestCamera camera(width, height, from + count + 60);
        bare.push_back(CaptureBench::bareEncodeSteadyCpu(camera, from, count));
        CaptureBench::CountedTestCamera queuedCamera(width, height, from + count + 60);
        const CaptureBench::SteadyCpu queued =
            CaptureBench::bareEncodeSteadyCpu(queuedCamera, from, count, /*queued=*/true);
        long long roundLost = 0;
        nelvo.push_back(nelvoSteadyCpu(defaults, width, height, from, count, roundLost));
        lost += roundLost;
        if (bare.back().frames == 0 || nelvo.back().frames == 0) {
            std::printf("armed_cpu_%s: the camera stopped delivering frames\n", name);
            return;
        }
        bareMs.push_back(msPerFrame(bare.back()));
        nelvoMs.push_back(msPerFrame(nelvo.back()));
        ratios.push_back(nelvoMs.back() / bareMs.back());
        queuedRatios.push_back(nelvoMs.back() / msPerFrame(queued));
        std::printf("armed_cpu_ratio_%s_round%d: %.3f x (against the queued encoder %.3f x)\n",
                    name, round + 1, ratios.back(), queuedRatios.back());
    }
    std::printf("armed_cpu_bare_%s_ms_per_frame: %.2f ms\n", name, CaptureBench::median(bareMs));
    std::printf("armed_cpu_nelvo_%s_ms_per_frame: %.2f ms\n", name, CaptureBench::median(nelvoMs));
    std::printf("armed_cpu_nelvo_%s_frames_lost: %lld frames\n", name, lost);
    printThreads("bare", name, bare);
    printThreads("nelvo", name, nelvo);
    std::printf("armed_cpu_ratio_%s: %.3f x\n", name, CaptureBench::median(ratios));
    // How much of that is the encoder's own thread: against bare capture that
    // hands each frame to the encoder through a queue.
    std::printf("armed_cpu_ratio_%s_against_queued_encoder: %.3f x\n", name,
                CaptureBench::median(queuedRatios));
    // The ratio holds only on a quiet machine (a load average under about 1.5).
    std::printf("# load average after the %s rounds: %s\n", name,
                qPrintable(CaptureBench::loadAverage()));
    std::fflush(stdout);
}

void benchFramesLost(Defaults& defaults, const char* name, int width, int height) {
    TallySink sink;
    auto delegate = std::make_shared<CountingDelegate>();
    DemoCamera::Options options;  // 30 frames a second, real time
    options.width = width;
    options.height = height;
    CameraPipeline pipeline(defaults, sink, std::make_shared<DemoCamera>(options), nullptr);
    pipeline.setDelegate(delegate);
    pipeline.configure();
    pipeline.startRunning();
    // The first second holds the encoder's start (made at the first frame).
    std::this_thread::sleep_for(std::chrono::seconds(1));
    const long long lostAtStart = sink.lost;
    std::this_thread::sleep_for(std::chrono::seconds(59));
    pipeline.stopRunning();
    std::printf("frames_measured_60s_%s: %lld frames\n", name, delegate->measured.load());
    std::printf("frames_encoded_60s_%s: %lld frames\n", name, sink.video.load());
    std::printf("frames_lost_60s_%s: %lld frames\n", name, sink.lost.load());
    // Lost because the encoder had two frames in flight; the rest were
    // dropped before the encoder (the capture queue was full).
    std::printf("frames_lost_60s_%s_encoder_behind: %lld frames\n", name,
                sink.encoderBehind.load());
    std::printf("frames_lost_60s_%s_first_second: %lld frames\n", name, lostAtStart);
    std::printf("# load average after the minute at %s: %s\n", name,
                qPrintable(CaptureBench::loadAverage()));
    std::fflush(stdout);
}

struct ArmedRun {
    double cpuSeconds = 0;
    long long encoded = 0;
    long long lost = 0;
    std::map<QString, double> threadCpuSeconds;  // by thread name
};

// The camera pipeline armed on the real clip in real time: capture, encoding
// and motion measurement, measured once it has settled.
ArmedRun armedOnClip(Defaults& defaults, const StudyClips::Clip& clip, int seconds) {
    TallySink sink;
    auto delegate = std::make_shared<CountingDelegate>();
    CameraPipeline pipeline(defaults, sink, std::make_shared<ClipCamera>(clip, true), nullptr);
    pipeline.setDelegate(delegate);
    pipeline.configure();
    pipeline.startRunning();
    while (delegate->measured < 30) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ArmedRun run;
    const auto threadsBefore = CaptureBench::threadCpuSeconds();
    const long long encodedBefore = sink.video;
    const long long lostBefore = sink.lost;
    const double start = processCpuSeconds();
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    run.cpuSeconds = processCpuSeconds() - start;
    run.threadCpuSeconds =
        CaptureBench::threadCpuBetween(threadsBefore, CaptureBench::threadCpuSeconds());
    run.encoded = sink.video - encodedBefore;
    run.lost = sink.lost - lostBefore;
    pipeline.stopRunning();
    return run;
}

void printArmedRun(const char* settings, const ArmedRun& run, int seconds) {
    std::printf("armed_real_%s_cpu_s_per_min_720p: %.2f s\n", settings,
                run.cpuSeconds / seconds * 60);
    // A run that lost frames was starved by other work on the machine: its
    // CPU figure does not compare settings.
    std::printf("armed_real_%s_frames_encoded: %lld of %d frames\n", settings, run.encoded,
                seconds * 30);
    std::printf("armed_real_%s_frames_lost: %lld frames\n", settings, run.lost);
    std::printf("armed_real_%s_cpu_ms_per_encoded_frame_720p: %.2f ms\n", settings,
                run.cpuSeconds * 1000 / std::max(1LL, run.encoded));
    for (const auto& [name, cpu] : run.threadCpuSeconds) {
        if (cpu > 0) {
            QString label = name;
            label.replace(QRegularExpression(QStringLiteral("[^A-Za-z0-9]+")), QStringLiteral("_"));
            std::printf("armed_real_%s_thread_%s_cpu_s_per_min: %.2f s\n", settings,
                        qPrintable(label), cpu / seconds * 60);
        }
    }
}

// The real camera clip at 720p30 (people walking, sensor noise), armed with
// the encoder settings Nelvo had before (veryfast) and with the chosen ones,
// one after the other in this run, and the chosen ones in the bare
// capture-and-encode pipeline.
void benchArmedRealClip(Defaults& defaults) {
    if (!StudyClips::realClipAvailable()) {
        return;
    }
    const StudyClips::Clip clip = StudyClips::realClip(1280, 720);
    if (clip.frames.empty()) {
        return;
    }
    const int seconds = 15;
    VideoEncoder::useX264Configuration(CaptureBench::veryfastX264);
    const ArmedRun before = armedOnClip(defaults, clip, seconds);
    VideoEncoder::useX264Configuration(VideoEncoder::chosenX264);
    const ArmedRun after = armedOnClip(defaults, clip, seconds);
    const int frames = seconds * 30;
    ClipCamera camera(clip, true, frames);
    auto bare = GstHandle<GstElement>::adopt(gst_pipeline_new("bare-real"));
    GstHandle<GstElement> source = camera.makeElement();
    GstElement* encode = gst_parse_bin_from_description(CaptureBench::bareEncoder, TRUE, nullptr);
    gst_bin_add_many(GST_BIN(bare.get()), GST_ELEMENT(gst_object_ref(source.get())), encode,
                     nullptr);
    gst_element_link(source.get(), encode);
    const double bareCpu =
        CaptureBench::encodeToEndCpuSeconds(bare.get(), [&] { camera.sessionStarted(); });
    camera.sessionStopping();
    camera.sessionStopped();
    printArmedRun("veryfast", before, seconds);
    printArmedRun(VideoEncoder::chosenX264.name, after, seconds);
    std::printf("armed_real_cpu_ratio_720p_vs_veryfast: %.3f x\n",
                after.cpuSeconds / before.cpuSeconds);
    // The same per frame encoded: what the ratio is when neither run lost
    // frames, and still a fair comparison when a busy machine starved them.
    std::printf("armed_real_cpu_per_encoded_frame_ratio_720p_vs_veryfast: %.3f x\n",
                (after.cpuSeconds / std::max(1LL, after.encoded)) /
                    (before.cpuSeconds / std::max(1LL, before.encoded)));
    std::printf("bare_encode_real_%s_cpu_s_per_min_720p: %.2f s\n", VideoEncoder::chosenX264.name,
                bareCpu / frames * 30 * 60);
    std::printf("armed_cpu_ratio_real_720p: %.3f x\n",
                (after.cpuSeconds / seconds) / (bareCpu / frames * 30));
    std::printf("# load average after the real clip: %s\n",
                qPrintable(CaptureBench::loadAverage()));
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    Gst::ensureInitialised();
    QTemporaryDir dir;
    Defaults defaults(dir.filePath(QStringLiteral("Nelvo.conf")));
    defaults.set(SettingsKeys::motionTriggerThreshold, 50);
    defaults.set(SettingsKeys::motionTriggerEnabled, true);
    std::printf("# load average at start: %s\n", qPrintable(CaptureBench::loadAverage()));
    // Arguments pick parts (motion, armed, real, lost); none runs them all.
    // lost-sliced, only when asked: frames lost with x264's slice threads.
    const QStringList parts = app.arguments().mid(1);
    const auto wanted = [&parts](const char* part) {
        return parts.isEmpty() || parts.contains(QLatin1String(part));
    };
    if (wanted("motion")) {
        benchMotion();
    }
    if (wanted("armed")) {
        benchArmedCpu(defaults, "720p", 1280, 720);
        benchArmedCpu(defaults, "1080p", 1920, 1080);
    }
    if (wanted("real")) {
        benchArmedRealClip(defaults);
    }
    if (wanted("lost")) {
        benchFramesLost(defaults, "720p", 1280, 720);
        benchFramesLost(defaults, "1080p", 1920, 1080);
    }
    if (parts.contains(QStringLiteral("lost-sliced"))) {
        VideoEncoder::useX264Configuration(CaptureBench::slicedSuperfastX264);
        benchFramesLost(defaults, "720p_sliced", 1280, 720);
        benchFramesLost(defaults, "1080p_sliced", 1920, 1080);
        VideoEncoder::useX264Configuration(VideoEncoder::chosenX264);
    }
    return 0;
}
