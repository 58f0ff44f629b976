// Detection figures on real footage: how soon people walking after a still
// stretch trigger a recording, and whether sensor noise or a change of
// brightness ever does, with the threshold learned from the camera's noise and
// with the fixed threshold of 15 levels, measured in the same run on the same
// frames. The footage is opencv-doc's pedestrian clip; the noise is added here,
// fresh on every frame. Some still stretches then go through a real encoder and
// decoder, as a camera's compressed stream does.
#include "CameraPipeline.h"
#include "CameraPipelineDelegate.h"
#include "CameraPipelineSink.h"
#include "Defaults.h"
#include "FeederSource.h"
#include "GstHandle.h"
#include "MotionDetectRenderer.h"
#include "MotionDetector.h"
#include "SettingsKeys.h"

#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>
#include <gst/video/video.h>
#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <deque>
#include <memory>
#include <mutex>
#include <random>
#include <thread>
#include <vector>

namespace {

constexpr double threshold = 50;  // the default
constexpr int stillSeconds = 5;
constexpr int sceneSeconds = 15;
constexpr int longStillMinutes = 10;
constexpr int codedStillMinutes = 2;

QString footagePath() {
    return QStringLiteral("/usr/share/doc/opencv-doc/examples/data/vtest.avi");
}

bool run(const QStringList& arguments) {
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(QStringLiteral("ffmpeg"), arguments);
    return process.waitForFinished(15 * 60 * 1000) &&
           process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

// The footage's whole view cut to 16:9, from its start, at `fps` frames a
// second (30 by motion-compensated interpolation, which is slow), kept once
// beside the benchmark as a lossless file.
QString sceneFile(int fps) {
    const QString folder = QCoreApplication::applicationDirPath() + QStringLiteral("/media");
    const QString path = folder + QStringLiteral("/walking-768x432-%1fps.mkv").arg(fps);
    if (QFileInfo::exists(path)) {
        return path;
    }
    QDir().mkpath(folder);
    const QString partial = path + QStringLiteral(".part.mkv");
    QString filter = QStringLiteral("trim=duration=%1,setpts=PTS-STARTPTS,crop=768:432:0:72")
                         .arg(sceneSeconds + 1);
    if (fps != 10) {
        filter +=
            QStringLiteral(",minterpolate=fps=%1:mi_mode=mci:mc_mode=aobmc:me_mode=bidir").arg(fps);
    }
    filter += QStringLiteral(",format=yuv420p");
    std::printf("# making the %d fps walking clip once\n", fps);
    std::fflush(stdout);
    if (!run({"-nostdin", "-v", "error", "-y", "-i", footagePath(), "-vf", filter, "-c:v", "ffv1",
              partial}) ||
        !QFile::rename(partial, path)) {
        QFile::remove(partial);
        return {};
    }
    return path;
}

// The scene's clean I420 frames at one size, one after another.
class SceneReader {
public:
    SceneReader(const QString& file, int width, int height)
        : size_(static_cast<std::size_t>(width) * height * 3 / 2) {
        const QString command =
            QStringLiteral(
                "ffmpeg -nostdin -v quiet -i '%1' -vf scale=%2:%3:flags=bicubic,format=yuv420p "
                "-f rawvideo -")
                .arg(file)
                .arg(width)
                .arg(height);
        pipe_ = popen(command.toUtf8().constData(), "r");
    }
    ~SceneReader() {
        if (pipe_) {
            pclose(pipe_);
        }
    }
    SceneReader(const SceneReader&) = delete;
    SceneReader& operator=(const SceneReader&) = delete;

    bool read(std::vector<std::uint8_t>& frame) {
        frame.resize(size_);
        return pipe_ && std::fread(frame.data(), 1, size_, pipe_) == size_;
    }

private:
    const std::size_t size_;
    FILE* pipe_ = nullptr;
};

// Temporal sensor noise on the luma: a long table of normal values, read from
// a fresh random place for every frame, so each frame's noise is new.
class SensorNoise {
public:
    SensorNoise(double sigma, std::size_t pixels, unsigned seed)
        : pixels_(pixels), generator_(seed) {
        std::normal_distribution<double> normal(0.0, sigma);
        table_.resize(pixels * 2);
        for (auto& value : table_) {
            value = static_cast<std::int16_t>(std::lround(normal(generator_)));
        }
    }
    // `gain` scales the clean luma first (a lamp or the camera's exposure).
    void apply(const std::uint8_t* clean, std::uint8_t* out, double gain) {
        std::array<int, 256> scaled;
        for (int level = 0; level < 256; ++level) {
            scaled[level] = static_cast<int>(std::lround(level * gain));
        }
        std::uniform_int_distribution<std::size_t> place(0, table_.size() - pixels_);
        const std::int16_t* noise = table_.data() + place(generator_);
        for (std::size_t i = 0; i < pixels_; ++i) {
            out[i] = static_cast<std::uint8_t>(std::clamp(scaled[clean[i]] + noise[i], 0, 255));
        }
    }

private:
    const std::size_t pixels_;
    std::mt19937 generator_;
    std::vector<std::int16_t> table_;
};

enum class Kind { walking, ramp, step, still };
// How the camera hands its frames over: raw, or through an encoder and back.
enum class Coding { raw, h264, jpeg };

struct Clip {
    Kind kind;
    int width;
    int height;
    int fps;
    double sigma;
    Coding coding = Coding::raw;
    int stillFrames() const { return kind == Kind::still ? frames() : stillSeconds * fps; }
    int frames() const {
        switch (kind) {
            case Kind::walking:
                return stillFrames() + sceneSeconds * fps;
            case Kind::ramp:
            case Kind::step:
                return stillFrames() + 5 * fps;
            case Kind::still:
                return (coding == Coding::raw ? longStillMinutes : codedStillMinutes) * 60 * fps;
        }
        return 0;
    }
    // The brightness of frame `index` against the still scene's.
    double gain(int index) const {
        if (index < stillFrames()) {
            return 1.0;
        }
        if (kind == Kind::step) {
            return 1.1;
        }
        if (kind == Kind::ramp) {
            return 1.0 + 0.2 * std::min(1.0, (index - stillFrames() + 1) / (2.0 * fps));
        }
        return 1.0;
    }
    QString name() const {
        static const char* kinds[] = {"walking", "ramp20", "step10", "still10min"};
        static const char* codings[] = {"", "h264_", "jpeg_"};
        const QString kindName = kind == Kind::still && coding != Coding::raw
                                     ? QStringLiteral("still%1min").arg(codedStillMinutes)
                                     : QLatin1String(kinds[static_cast<int>(kind)]);
        return QStringLiteral("%1_%2%3p%4_sigma%5")
            .arg(kindName, QLatin1String(codings[static_cast<int>(coding)]))
            .arg(height)
            .arg(fps)
            .arg(sigma);
    }
};

// The clip's frames: the scene's first frame held for the still stretch, then
// (walking) the scene going on, or (brightness) the first frame brightening;
// fresh noise on every frame. One clip's frames, in order, from `frame`.
class ClipFrames {
public:
    ClipFrames(const Clip& clip, const QString& scene)
        : clip_(clip),
          reader_(scene, clip.width, clip.height),
          noise_(clip.sigma, static_cast<std::size_t>(clip.width) * clip.height,
                 static_cast<unsigned>(clip.width + clip.fps * 7 + clip.sigma * 100)) {
        valid_ = reader_.read(held_);
    }
    bool valid() const { return valid_; }

    // Frame `index` (from 0, in order) into a new buffer; null past the end.
    GstBuffer* frame(int index) {
        if (index >= clip_.frames()) {
            return nullptr;
        }
        const std::vector<std::uint8_t>* clean = &held_;
        if (clip_.kind == Kind::walking && index >= clip_.stillFrames()) {
            if (!reader_.read(scene_)) {
                return nullptr;
            }
            clean = &scene_;
        }
        const std::size_t luma = static_cast<std::size_t>(clip_.width) * clip_.height;
        GstBuffer* buffer = gst_buffer_new_allocate(nullptr, clean->size(), nullptr);
        GstMapInfo map;
        gst_buffer_map(buffer, &map, GST_MAP_WRITE);
        noise_.apply(clean->data(), map.data, clip_.gain(index));
        std::copy(clean->begin() + static_cast<std::ptrdiff_t>(luma), clean->end(),
                  map.data + luma);
        gst_buffer_unmap(buffer, &map);
        GST_BUFFER_PTS(buffer) = gst_util_uint64_scale(index, GST_SECOND, clip_.fps);
        GST_BUFFER_DURATION(buffer) = gst_util_uint64_scale(1, GST_SECOND, clip_.fps);
        return buffer;
    }

    GstHandle<GstCaps> caps() const {
        return GstHandle<GstCaps>::adopt(
            gst_caps_new_simple("video/x-raw", "format", G_TYPE_STRING, "I420", "width", G_TYPE_INT,
                                clip_.width, "height", G_TYPE_INT, clip_.height, "framerate",
                                GST_TYPE_FRACTION, clip_.fps, 1, nullptr));
    }

private:
    const Clip clip_;
    SceneReader reader_;
    SensorNoise noise_;
    std::vector<std::uint8_t> held_;
    std::vector<std::uint8_t> scene_;
    bool valid_ = false;
};

// The clip as a camera that delivers as fast as the pipeline takes frames.
class ClipCamera : public FeederSource {
public:
    ClipCamera(const Clip& clip, const QString& scene)
        : FeederSource(QStringLiteral("bench-detection-camera"), QStringLiteral("Footage"), false),
          frames_(clip, scene) {}
    ~ClipCamera() override {
        sessionStopping();
        sessionStopped();
    }
    bool valid() const { return frames_.valid(); }

protected:
    GstHandle<GstCaps> caps() override { return frames_.caps(); }
    GstBuffer* produce(GstAppSrc*) override { return frames_.frame(index_++); }

private:
    ClipFrames frames_;
    int index_ = 0;
};

// A camera's own compression: each frame through an encoder at a camera's
// settings and back through a decoder, in order. H.264 at 2 Mbit/s with a
// keyframe every second (each keyframe redraws the whole picture, so its noise
// and detail shift at once; the frames between barely change), or MJPEG at
// quality 60 (every frame compressed on its own, with its own blocks).
class Transcoder {
public:
    Transcoder(Coding coding, GstCaps* caps) {
        const char* chain =
            coding == Coding::h264
                ? "x264enc bitrate=2000 key-int-max=30 speed-preset=veryfast tune=zerolatency "
                  "! h264parse ! avdec_h264"
                : "jpegenc quality=60 ! jpegdec";
        const QString description =
            QStringLiteral("appsrc name=in format=time ! %1 ! appsink name=out sync=false")
                .arg(QLatin1String(chain));
        pipeline_ = GstHandle<GstElement>::sink(
            gst_parse_launch(description.toUtf8().constData(), nullptr));
        if (!pipeline_) {
            return;
        }
        in_ = GstHandle<GstElement>::adopt(gst_bin_get_by_name(GST_BIN(pipeline_.get()), "in"));
        out_ = GstHandle<GstElement>::adopt(gst_bin_get_by_name(GST_BIN(pipeline_.get()), "out"));
        gst_app_src_set_caps(GST_APP_SRC(in_.get()), caps);
        gst_element_set_state(pipeline_.get(), GST_STATE_PLAYING);
    }
    ~Transcoder() {
        if (pipeline_) {
            gst_element_set_state(pipeline_.get(), GST_STATE_NULL);
        }
    }
    Transcoder(const Transcoder&) = delete;
    Transcoder& operator=(const Transcoder&) = delete;

    bool valid() const { return pipeline_ && in_ && out_; }

    // Hands a raw frame over; what came out so far waits in `decoded`.
    void push(GstBuffer* buffer) {
        gst_app_src_push_buffer(GST_APP_SRC(in_.get()), buffer);
        ++pushed_;
        // A few frames may be in the coders; no more, so memory stays flat.
        while (pushed_ - pulled_ > 8 && pull(10 * GST_SECOND)) {
        }
        while (pull(0)) {
        }
    }
    // No more frames: everything still in the coders comes out.
    void finish() {
        gst_app_src_end_of_stream(GST_APP_SRC(in_.get()));
        while (pulled_ < pushed_ && pull(10 * GST_SECOND)) {
        }
    }
    std::deque<GstHandle<GstSample>> decoded;

private:
    bool pull(GstClockTime timeout) {
        GstSample* sample = gst_app_sink_try_pull_sample(GST_APP_SINK(out_.get()), timeout);
        if (!sample) {
            return false;
        }
        decoded.push_back(GstHandle<GstSample>::adopt(sample));
        ++pulled_;
        return true;
    }

    GstHandle<GstElement> pipeline_;
    GstHandle<GstElement> in_;
    GstHandle<GstElement> out_;
    long long pushed_ = 0;
    long long pulled_ = 0;
};

class NullSink : public CameraPipelineSink {
public:
    void appendVideo(GstHandle<GstSample>) override {}
    void appendAudio(GstHandle<GstSample>) override {}
    void setNewestFrame(GstHandle<GstSample>) override {}
    void recordLoss(CaptureLoss) override {}
    void reset() override {}
};

// Each frame's level and trigger, in the order measured (one per frame).
class Measurements : public CameraPipelineDelegate {
public:
    void motionMeasured(CameraPipeline&, double level, bool triggered) override {
        std::lock_guard guard(mutex_);
        levels_.push_back(level);
        triggered_.push_back(triggered);
        count = static_cast<int>(levels_.size());
    }
    void sessionError(CameraPipeline&, std::optional<Error>) override {}

    std::vector<double> levels() const {
        std::lock_guard guard(mutex_);
        return levels_;
    }
    std::vector<bool> triggered() const {
        std::lock_guard guard(mutex_);
        return triggered_;
    }
    std::atomic<int> count{0};

private:
    mutable std::mutex mutex_;
    std::vector<double> levels_;
    std::vector<bool> triggered_;
};

struct Outcome {
    bool complete = false;
    double delaySeconds = -1;  // from the first changed frame; -1: never
    int stillTriggers = 0;     // frames over the threshold in the still stretch
    int changeTriggers = 0;    // the same after it (brightness clips)
    double stillPeak = 0;      // the highest level in the still stretch once settled
    double changePeak = 0;     // the highest level after it
};

Outcome outcomeOf(const Clip& clip, const std::vector<double>& levels,
                  const std::vector<bool>& triggered) {
    Outcome outcome;
    outcome.complete = static_cast<int>(levels.size()) == clip.frames();
    const int still = clip.stillFrames();
    const int settled = std::min(still, 2 * clip.fps + 1);
    for (int i = 0; i < static_cast<int>(levels.size()); ++i) {
        if (i < still) {
            outcome.stillTriggers += triggered[i];
            if (i >= settled) {
                outcome.stillPeak = std::max(outcome.stillPeak, levels[i]);
            }
            continue;
        }
        outcome.changeTriggers += triggered[i];
        outcome.changePeak = std::max(outcome.changePeak, levels[i]);
        if (triggered[i] && outcome.delaySeconds < 0) {
            outcome.delaySeconds = static_cast<double>(i - still) / clip.fps;
        }
    }
    return outcome;
}

// The renderer reads NELVO_FIXED_MOTION_THRESHOLD when it is made.
void useFixedThreshold(bool fixed) {
    if (fixed) {
        qputenv("NELVO_FIXED_MOTION_THRESHOLD", "1");
    } else {
        qunsetenv("NELVO_FIXED_MOTION_THRESHOLD");
    }
}

// The camera pipeline at the default settings on the clip, as fast as it takes
// the frames (capture, encoding and motion measurement, one level per frame).
Outcome runPipeline(Defaults& defaults, const Clip& clip, const QString& scene, bool fixed) {
    auto camera = std::make_shared<ClipCamera>(clip, scene);
    if (!camera->valid()) {
        return {};
    }
    NullSink sink;
    auto measurements = std::make_shared<Measurements>();
    useFixedThreshold(fixed);
    auto pipeline = std::make_unique<CameraPipeline>(defaults, sink, camera, nullptr);
    useFixedThreshold(false);
    pipeline->setDelegate(measurements);
    pipeline->configure();
    pipeline->startRunning();
    QElapsedTimer waited;
    waited.start();
    int last = 0;
    qint64 lastProgress = 0;
    // Until every frame is measured, or nothing happened for a minute.
    while (measurements->count < clip.frames() && waited.elapsed() - lastProgress < 60000) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        if (measurements->count != last) {
            last = measurements->count;
            lastProgress = waited.elapsed();
        }
    }
    pipeline->stopRunning();
    pipeline.reset();
    return outcomeOf(clip, measurements->levels(), measurements->triggered());
}

// The motion measurement as the pipeline does it (renderer, level, trigger;
// no encoder, which would make ten minutes take an hour), both thresholds on
// the same frames: for the long still stretches, the compressed ones, and all
// clips with --renderer.
std::array<Outcome, 2> runMeasurement(const Clip& clip, const QString& scene) {
    ClipFrames frames(clip, scene);
    if (!frames.valid()) {
        return {};
    }
    const GstHandle<GstCaps> rawCaps = frames.caps();
    std::unique_ptr<Transcoder> transcoder;
    if (clip.coding != Coding::raw) {
        transcoder = std::make_unique<Transcoder>(clip.coding, rawCaps.get());
        if (!transcoder->valid()) {
            return {};
        }
    }
    std::array<std::unique_ptr<MotionDetectRenderer>, 2> renderers;
    std::array<std::vector<double>, 2> levels;
    std::array<std::vector<bool>, 2> triggered;
    for (int fixed = 0; fixed < 2; ++fixed) {
        useFixedThreshold(fixed == 1);
        renderers[fixed] = std::make_unique<MotionDetectRenderer>();
        useFixedThreshold(false);
        levels[fixed].reserve(clip.frames());
        triggered[fixed].reserve(clip.frames());
    }
    GstHandle<GstSample> previous;
    const auto measure = [&](GstHandle<GstSample> current) {
        for (int fixed = 0; fixed < 2; ++fixed) {
            if (!previous) {
                renderers[fixed]->prepare(gst_sample_get_caps(current.get()), 3);
            }
            const auto images = renderers[fixed]->render(previous ? previous.get() : current.get(),
                                                         current.get(), false);
            const auto measurement = MotionDetector::measure(*images.motion, {});
            levels[fixed].push_back(measurement.level);
            triggered[fixed].push_back(MotionDetector::triggered(measurement, threshold, true));
        }
        previous = std::move(current);
    };
    for (int index = 0;; ++index) {
        GstBuffer* buffer = frames.frame(index);
        if (!buffer) {
            break;
        }
        if (transcoder) {
            transcoder->push(buffer);
        } else {
            measure(GstHandle<GstSample>::adopt(
                gst_sample_new(buffer, rawCaps.get(), nullptr, nullptr)));
            gst_buffer_unref(buffer);
        }
        for (; transcoder && !transcoder->decoded.empty(); transcoder->decoded.pop_front()) {
            measure(std::move(transcoder->decoded.front()));
        }
    }
    if (transcoder) {
        transcoder->finish();
        for (; !transcoder->decoded.empty(); transcoder->decoded.pop_front()) {
            measure(std::move(transcoder->decoded.front()));
        }
    }
    return {outcomeOf(clip, levels[0], triggered[0]), outcomeOf(clip, levels[1], triggered[1])};
}

QString delayText(const Outcome& outcome, const Clip& clip) {
    if (!outcome.complete) {
        return QStringLiteral("incomplete");
    }
    return outcome.delaySeconds < 0
               ? QStringLiteral("none in %1 s").arg(clip.frames() / clip.fps - stillSeconds)
               : QString::number(outcome.delaySeconds, 'f', 2) + QStringLiteral(" s");
}

struct Row {
    Clip clip;
    Outcome learned;
    Outcome fixed;
};

void print(const Row& row) {
    const QString name = QStringLiteral("detection_") + row.clip.name();
    if (row.clip.kind == Kind::walking) {
        std::printf("%s_delay: %s (fixed threshold: %s)\n", qPrintable(name),
                    qPrintable(delayText(row.learned, row.clip)),
                    qPrintable(delayText(row.fixed, row.clip)));
    } else if (row.clip.kind != Kind::still) {
        std::printf("%s_change_triggers: %d frames (fixed threshold: %d), peak level %.1f (%.1f)\n",
                    qPrintable(name), row.learned.changeTriggers, row.fixed.changeTriggers,
                    row.learned.changePeak, row.fixed.changePeak);
    }
    std::printf("%s_still_triggers: %d frames (fixed threshold: %d), peak level %.1f (%.1f)\n",
                qPrintable(name), row.learned.stillTriggers, row.fixed.stillTriggers,
                row.learned.stillPeak, row.fixed.stillPeak);
    std::fflush(stdout);
}

// Triggers and the highest level where nothing should trigger: the still
// stretch, and for the brightness clips the change after it.
int quietTriggers(const Row& row, const Outcome& outcome) {
    return outcome.stillTriggers + (row.clip.kind == Kind::walking ? 0 : outcome.changeTriggers);
}
double quietPeak(const Row& row, const Outcome& outcome) {
    return row.clip.kind == Kind::walking ? outcome.stillPeak
                                          : std::max(outcome.stillPeak, outcome.changePeak);
}

void printTable(const std::vector<Row>& rows) {
    std::printf("# %-26s %-14s %-14s %-20s %-20s\n", "clip", "delay", "fixed 15", "quiet triggers",
                "quiet peak level");
    for (const Row& row : rows) {
        const bool walking = row.clip.kind == Kind::walking;
        const QString triggers = QStringLiteral("%1 (fixed %2)")
                                     .arg(quietTriggers(row, row.learned))
                                     .arg(quietTriggers(row, row.fixed));
        const QString peak = QStringLiteral("%1 (fixed %2)")
                                 .arg(quietPeak(row, row.learned), 0, 'f', 1)
                                 .arg(quietPeak(row, row.fixed), 0, 'f', 1);
        std::printf("# %-26s %-14s %-14s %-20s %-20s\n", qPrintable(row.clip.name()),
                    walking ? qPrintable(delayText(row.learned, row.clip)) : "-",
                    walking ? qPrintable(delayText(row.fixed, row.clip)) : "-",
                    qPrintable(triggers), qPrintable(peak));
    }
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    Gst::ensureInitialised();
    if (!QFileInfo::exists(footagePath()) ||
        QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty()) {
        std::printf(
            "# MISSING: the detection figures need %s from the Debian package opencv-doc and "
            "ffmpeg (make bench installs both)\n",
            qPrintable(footagePath()));
        return 0;
    }
    QTemporaryDir dir;
    Defaults defaults(dir.filePath(QStringLiteral("Nelvo.conf")));
    defaults.set(SettingsKeys::motionTriggerThreshold, threshold);
    defaults.set(SettingsKeys::motionTriggerEnabled, true);
    // Arguments pick parts (walking, brightness, still, compressed); none runs
    // them all. --renderer measures the walking and brightness clips without
    // the pipeline's encoder: the same decision, in a fraction of the time.
    QStringList parts = app.arguments().mid(1);
    const bool rendererOnly = parts.removeAll(QStringLiteral("--renderer")) > 0;
    // --only=TEXT runs only the clips whose name holds TEXT (720p30_sigma8).
    QString only;
    for (const QString& part : parts) {
        if (part.startsWith(QLatin1String("--only="))) {
            only = part.mid(7);
            parts.removeAll(part);
            break;
        }
    }
    const auto skipped = [&only](const Clip& clip) {
        return !only.isEmpty() && !clip.name().contains(only);
    };
    const auto measured = [&](const Clip& clip, const QString& scene) -> std::array<Outcome, 2> {
        if (rendererOnly) {
            return runMeasurement(clip, scene);
        }
        return {runPipeline(defaults, clip, scene, false),
                runPipeline(defaults, clip, scene, true)};
    };
    const auto wanted = [&parts](const char* part) {
        return parts.isEmpty() || parts.contains(QLatin1String(part));
    };
    const std::array<int, 2> rates{30, 10};
    const std::array<double, 3> sigmas{2, 4, 8};
    std::vector<Row> rows;
    QElapsedTimer elapsed;
    elapsed.start();
    if (wanted("walking")) {
        for (const int fps : rates) {
            const QString scene = sceneFile(fps);
            for (const auto& [width, height] : {std::pair{1280, 720}, std::pair{1920, 1080}}) {
                for (const double sigma : sigmas) {
                    const Clip clip{Kind::walking, width, height, fps, sigma};
                    if (skipped(clip)) {
                        continue;
                    }
                    const auto [learned, fixed] = measured(clip, scene);
                    rows.push_back({clip, learned, fixed});
                    print(rows.back());
                }
            }
        }
    }
    if (wanted("brightness")) {
        const QString scene = sceneFile(30);
        for (const Kind kind : {Kind::ramp, Kind::step}) {
            for (const double sigma : sigmas) {
                const Clip clip{kind, 1280, 720, 30, sigma};
                if (skipped(clip)) {
                    continue;
                }
                const auto [learned, fixed] = measured(clip, scene);
                rows.push_back({clip, learned, fixed});
                print(rows.back());
            }
        }
    }
    if (wanted("still")) {
        const QString scene = sceneFile(30);
        for (const double sigma : sigmas) {
            const Clip clip{Kind::still, 1280, 720, 30, sigma};
            if (skipped(clip)) {
                continue;
            }
            const auto [learned, fixed] = runMeasurement(clip, scene);
            rows.push_back({clip, learned, fixed});
            print(rows.back());
        }
    }
    if (wanted("compressed")) {
        const QString scene = sceneFile(30);
        for (const Coding coding : {Coding::h264, Coding::jpeg}) {
            for (const double sigma : sigmas) {
                const Clip clip{Kind::still, 1280, 720, 30, sigma, coding};
                if (skipped(clip)) {
                    continue;
                }
                const auto [learned, fixed] = runMeasurement(clip, scene);
                rows.push_back({clip, learned, fixed});
                print(rows.back());
            }
        }
    }
    printTable(rows);
    std::printf("detection_bench_seconds: %.0f s\n", elapsed.elapsed() / 1000.0);
    return 0;
}
