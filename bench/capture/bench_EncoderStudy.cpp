// The encoder study: for each x264 configuration, at Nelvo's fixed settings
// (8000 kbit/s, a keyframe every second, no B-frames, zero latency), on the
// demo scene and on a real camera clip at 1280x720 and 1920x1080, the CPU
// time per frame, SSIM and PSNR against the source, and the worst second.
// Then the rule that picks Nelvo's configuration. With `--crops DIR` it also
// writes crops of the first keyframe after a scene change and of a still
// frame, for looking at by eye.
#include "CaptureBench.h"
#include "PictureQuality.h"
#include "StudyClips.h"
#include "VideoEncoder.h"

#include <gst/app/gstappsink.h>
#include <gst/app/gstappsrc.h>
#include <gst/video/video.h>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QImage>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <map>
#include <mutex>
#include <thread>

namespace {

using StudyClips::Clip;

const X264Configuration configurations[] = {
    {"ultrafast", "ultrafast", ""},  // for reference: its stream is not High profile
    {"ultrafast_cabac_8x8", "ultrafast", "cabac=1:8x8dct=1"},
    CaptureBench::slicedSuperfastX264,  // x264's threads: a slice per core
    VideoEncoder::chosenX264,           // superfast in one thread, one slice
    CaptureBench::veryfastX264,
    {"faster", "faster", ""},
};

// How far below veryfast a configuration may fall, on every clip and size.
constexpr double meanSsimMargin = 0.006;
constexpr double worstSecondSsimMargin = 0.015;

struct Result {
    double cpuMsPerFrame = 0;
    double ssim = 0;
    double psnr = 0;
    double worstSecondSsim = 0;
    QString profile;
    int frames = 0;
};

struct Encoded {
    std::vector<GstHandle<GstSample>> samples;
    double cpuSeconds = 0;
};

GstElement* element(GstElement* pipeline, const char* name) {
    GstElement* found = gst_bin_get_by_name(GST_BIN(pipeline), name);
    gst_object_unref(found);  // the pipeline keeps it
    return found;
}

bool waitForEnd(GstElement* pipeline) {
    auto bus = GstHandle<GstBus>::adopt(gst_element_get_bus(pipeline));
    auto message = GstHandle<GstMessage>::adopt(gst_bus_timed_pop_filtered(
        bus.get(), 10 * 60 * GST_SECOND,
        static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
    return message && GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_EOS;
}

GstFlowReturn keepSample(GstAppSink* sink, gpointer kept) {
    auto* samples = static_cast<std::vector<GstHandle<GstSample>>*>(kept);
    samples->push_back(GstHandle<GstSample>::adopt(gst_app_sink_pull_sample(sink)));
    return GST_FLOW_OK;
}

// Encodes the clip at 30 frames a second, as a camera delivers them: x264's
// threads then wait between frames as they do in an armed Nelvo, and what
// waking them costs at every frame counts (pushed as fast as the encoder goes,
// they never wait and that cost does not show). The CPU time is the whole
// process's while it runs, which is the encoder's (pushing is a reference).
Encoded encode(const Clip& clip, const X264Configuration& configuration) {
    auto pipeline = GstHandle<GstElement>::adopt(gst_parse_launch(
        "appsrc name=source format=time block=true ! x264enc name=encoder ! h264parse ! "
        "video/x-h264,stream-format=avc,alignment=au ! appsink name=output sync=false",
        nullptr));
    GstElement* source = element(pipeline.get(), "source");
    g_object_set(source, "caps", clip.caps.get(), "max-bytes",
                 guint64(clip.width) * clip.height * 3, nullptr);
    VideoEncoder::useX264Configuration(configuration);
    VideoEncoder::configureEncoder(element(pipeline.get(), "encoder"), QStringLiteral("x264enc"),
                                   StudyClips::framesPerSecond);
    VideoEncoder::useX264Configuration(VideoEncoder::chosenX264);
    Encoded encoded;
    GstAppSinkCallbacks callbacks{};
    callbacks.new_sample = &keepSample;
    gst_app_sink_set_callbacks(GST_APP_SINK(element(pipeline.get(), "output")), &callbacks,
                               &encoded.samples, nullptr);
    const double start = CaptureBench::processCpuSeconds();
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    const auto begin = std::chrono::steady_clock::now();
    const auto interval = std::chrono::nanoseconds(GST_SECOND / StudyClips::framesPerSecond);
    for (std::size_t i = 0; i < clip.frames.size(); ++i) {
        std::this_thread::sleep_until(begin + interval * static_cast<long>(i));
        gst_app_src_push_buffer(GST_APP_SRC(source), gst_buffer_ref(clip.frames[i].get()));
    }
    gst_app_src_end_of_stream(GST_APP_SRC(source));
    const bool ended = waitForEnd(pipeline.get());
    encoded.cpuSeconds = CaptureBench::processCpuSeconds() - start;
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    if (!ended) {
        encoded.samples.clear();
    }
    return encoded;
}

bool isKeyframe(const GstHandle<GstSample>& sample) {
    return !GST_BUFFER_FLAG_IS_SET(gst_sample_get_buffer(sample.get()), GST_BUFFER_FLAG_DELTA_UNIT);
}

// The crops for looking at by eye: one picture per case, the source first and
// then each configuration in the table's order, three to a row.
class Crops {
public:
    static constexpr int width = 320;
    static constexpr int height = 180;
    static constexpr int columns = 3;

    void add(const QString& picture, int cell, const GstVideoFrame& frame, int left, int top) {
        QImage& image = pictures_[picture];
        if (image.isNull()) {
            const int cells = 1 + static_cast<int>(std::size(configurations));
            image = QImage(width * columns, height * ((cells + columns - 1) / columns),
                           QImage::Format_RGB32);
            image.fill(Qt::black);
        }
        const int x0 = (cell % columns) * width;
        const int y0 = (cell / columns) * height;
        const auto* luma = static_cast<const guint8*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 0));
        const auto* blue = static_cast<const guint8*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 1));
        const auto* red = static_cast<const guint8*>(GST_VIDEO_FRAME_PLANE_DATA(&frame, 2));
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const int px = left + x;
                const int py = top + y;
                const double l =
                    1.164 * (luma[py * GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 0) + px] - 16);
                const int chroma = (py / 2) * GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 1) + px / 2;
                const double u = blue[chroma] - 128;
                const double v =
                    red[(py / 2) * GST_VIDEO_FRAME_PLANE_STRIDE(&frame, 2) + px / 2] - 128;
                const auto clamp = [](double c) {
                    return std::clamp(static_cast<int>(c + 0.5), 0, 255);
                };
                image.setPixel(x0 + x, y0 + y,
                               qRgb(clamp(l + 1.596 * v), clamp(l - 0.392 * u - 0.813 * v),
                                    clamp(l + 2.017 * u)));
            }
        }
    }

    void save(const QString& folder) const {
        QDir().mkpath(folder);
        for (const auto& [name, image] : pictures_) {
            const QString path = folder + QStringLiteral("/") + name + QStringLiteral(".png");
            std::printf("# crops: %s\n", image.save(path) ? qPrintable(path) : "could not save");
        }
    }

private:
    std::map<QString, QImage> pictures_;
};

// Where the crops are taken: a frame and the top-left corner of the crop.
struct CropPlace {
    QString picture;
    int frame = -1;
    int left = 0;
    int top = 0;
};

void crop(Crops* crops, const CropPlace& place, int cell, int index, GstBuffer* buffer,
          GstVideoInfo* info) {
    if (!crops || index != place.frame) {
        return;
    }
    GstVideoFrame frame;
    if (gst_video_frame_map(&frame, info, buffer, GST_MAP_READ)) {
        crops->add(place.picture, cell, frame, place.left, place.top);
        gst_video_frame_unmap(&frame);
    }
}

// Decodes the stream with an independent decoder and compares every frame
// with its source.
Result measure(const Clip& clip, const Encoded& encoded, Crops* crops,
               const std::vector<CropPlace>& places, int cell) {
    Result result;
    if (encoded.samples.empty()) {
        return result;
    }
    GstCaps* streamCaps = gst_sample_get_caps(encoded.samples.front().get());
    const gchar* profile =
        gst_structure_get_string(gst_caps_get_structure(streamCaps, 0), "profile");
    result.profile = QString::fromUtf8(profile ? profile : "unknown");
    auto pipeline = GstHandle<GstElement>::adopt(
        gst_parse_launch("appsrc name=source format=time max-bytes=0 ! avdec_h264 ! videoconvert ! "
                         "video/x-raw,format=I420 ! appsink name=output sync=false max-buffers=4",
                         nullptr));
    GstElement* source = element(pipeline.get(), "source");
    g_object_set(source, "caps", streamCaps, nullptr);
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    for (const auto& sample : encoded.samples) {
        gst_app_src_push_buffer(GST_APP_SRC(source),
                                gst_buffer_ref(gst_sample_get_buffer(sample.get())));
    }
    gst_app_src_end_of_stream(GST_APP_SRC(source));
    GstVideoInfo sourceInfo;
    gst_video_info_from_caps(&sourceInfo, clip.caps.get());
    std::vector<double> frameSsim;
    double squaredError = 0;
    auto* output = GST_APP_SINK(element(pipeline.get(), "output"));
    while (auto sample = GstHandle<GstSample>::adopt(gst_app_sink_pull_sample(output))) {
        const std::size_t index = frameSsim.size();
        if (index >= clip.frames.size()) {
            break;
        }
        GstVideoInfo info;
        gst_video_info_from_caps(&info, gst_sample_get_caps(sample.get()));
        GstVideoFrame decoded;
        GstVideoFrame original;
        gst_video_frame_map(&decoded, &info, gst_sample_get_buffer(sample.get()), GST_MAP_READ);
        gst_video_frame_map(&original, &sourceInfo, clip.frames[index].get(), GST_MAP_READ);
        const auto* a = static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&original, 0));
        const auto* b = static_cast<const std::uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(&decoded, 0));
        const int strideA = GST_VIDEO_FRAME_PLANE_STRIDE(&original, 0);
        const int strideB = GST_VIDEO_FRAME_PLANE_STRIDE(&decoded, 0);
        frameSsim.push_back(PictureQuality::ssim(a, strideA, b, strideB, clip.width, clip.height));
        squaredError +=
            PictureQuality::meanSquaredError(a, strideA, b, strideB, clip.width, clip.height);
        gst_video_frame_unmap(&decoded);
        gst_video_frame_unmap(&original);
        for (const CropPlace& place : places) {
            if (cell == 1) {
                crop(crops, place, 0, static_cast<int>(index), clip.frames[index].get(),
                     &sourceInfo);
            }
            crop(crops, place, cell, static_cast<int>(index), gst_sample_get_buffer(sample.get()),
                 &info);
        }
    }
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    result.frames = static_cast<int>(frameSsim.size());
    if (frameSsim.empty()) {
        return result;
    }
    double total = 0;
    for (double s : frameSsim) {
        total += s;
    }
    result.ssim = total / frameSsim.size();
    result.psnr = PictureQuality::psnr(squaredError / frameSsim.size());
    // Every run of one second's frames, wherever it starts.
    const std::size_t second = StudyClips::framesPerSecond;
    result.worstSecondSsim = 1;
    for (std::size_t start = 0; start + second <= frameSsim.size(); ++start) {
        double sum = 0;
        for (std::size_t i = start; i < start + second; ++i) {
            sum += frameSsim[i];
        }
        result.worstSecondSsim = std::min(result.worstSecondSsim, sum / second);
    }
    result.cpuMsPerFrame = encoded.cpuSeconds * 1000 / frameSsim.size();
    return result;
}

// The first keyframe at or after the scene change, in this configuration's stream.
int keyframeAfter(const Encoded& encoded, int frame) {
    for (std::size_t i = std::max(frame, 0); i < encoded.samples.size(); ++i) {
        if (isKeyframe(encoded.samples[i])) {
            return static_cast<int>(i);
        }
    }
    return -1;
}

using Results = std::map<QString, std::map<QString, Result>>;  // case, configuration

void study(const Clip& clip, const QString& caseName, Results& results, Crops* crops) {
    if (clip.frames.empty()) {
        return;
    }
    int cell = 1;
    for (const X264Configuration& configuration : configurations) {
        const Encoded encoded = encode(clip, configuration);
        std::vector<CropPlace> places;
        if (crops && clip.name == QStringLiteral("real")) {
            places.push_back({QStringLiteral("encoder-scene-change-keyframe"),
                              keyframeAfter(encoded, clip.sceneChange), 480, 300});
        }
        if (crops && clip.stillFrame >= 0) {
            places.push_back({QStringLiteral("encoder-still-frame"), clip.stillFrame, 560, 60});
        }
        const Result result = measure(clip, encoded, crops, places, cell++);
        results[caseName][configuration.name] = result;
        const QString prefix = QStringLiteral("encoder_%1_%2_").arg(caseName, configuration.name);
        std::printf("%scpu_ms_per_frame: %.2f ms\n", qPrintable(prefix), result.cpuMsPerFrame);
        std::printf("%sssim: %.5f\n", qPrintable(prefix), result.ssim);
        std::printf("%spsnr_db: %.2f dB\n", qPrintable(prefix), result.psnr);
        std::printf("%sworst_1s_ssim: %.5f\n", qPrintable(prefix), result.worstSecondSsim);
        std::printf("%sprofile: %s\n", qPrintable(prefix), qPrintable(result.profile));
        if (result.frames != static_cast<int>(clip.frames.size())) {
            std::printf("%sframes_decoded: %d of %zu\n", qPrintable(prefix), result.frames,
                        clip.frames.size());
        }
        std::fflush(stdout);
    }
}

// Whether a configuration passes on one case: High profile, and close enough
// to veryfast in mean and worst-second SSIM.
bool passes(const Result& candidate, const Result& reference) {
    return candidate.profile == QStringLiteral("high") && candidate.frames > 0 &&
           candidate.ssim >= reference.ssim - meanSsimMargin &&
           candidate.worstSecondSsim >= reference.worstSecondSsim - worstSecondSsimMargin;
}

void applyRule(const Results& results) {
    const char* chosen = nullptr;
    double chosenCpu = 0;
    for (const X264Configuration& configuration : configurations) {
        bool ok = !results.empty();
        double cpu = 0;
        for (const auto& [caseName, byConfiguration] : results) {
            const Result& candidate = byConfiguration.at(configuration.name);
            ok = ok && passes(candidate, byConfiguration.at(CaptureBench::veryfastX264.name));
            cpu += candidate.cpuMsPerFrame;
        }
        std::printf("encoder_rule_%s: %s (%.2f ms of CPU per frame over the cases)\n",
                    configuration.name, ok ? "passes" : "fails",
                    cpu / std::max<std::size_t>(1, results.size()));
        if (ok && (!chosen || cpu < chosenCpu)) {
            chosen = configuration.name;
            chosenCpu = cpu;
        }
    }
    std::printf("encoder_rule_cases: %zu of 4\n", results.size());
    std::printf("encoder_rule_choice: %s\n", chosen ? chosen : "none");
    std::printf("encoder_nelvo_uses: %s\n", VideoEncoder::chosenX264.name);
    // The table for docs/platform.md.
    std::printf(
        "# | case | configuration | CPU ms/frame | mean SSIM | PSNR dB | worst 1 s SSIM | profile "
        "|\n");
    for (const auto& [caseName, byConfiguration] : results) {
        for (const X264Configuration& configuration : configurations) {
            const Result& r = byConfiguration.at(configuration.name);
            std::printf("# | %s | %s | %.2f | %.4f | %.2f | %.4f | %s |\n", qPrintable(caseName),
                        configuration.name, r.cpuMsPerFrame, r.ssim, r.psnr, r.worstSecondSsim,
                        qPrintable(r.profile));
        }
    }
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    Gst::ensureInitialised();
    const QStringList arguments = app.arguments();
    const int cropsAt = static_cast<int>(arguments.indexOf(QStringLiteral("--crops")));
    Crops crops;
    const bool withCrops = cropsAt > 0 && cropsAt + 1 < arguments.size();
    std::printf("# load average at start: %s\n", qPrintable(CaptureBench::loadAverage()));
    const bool real = StudyClips::realClipAvailable();
    Results results;
    const struct {
        const char* name;
        int width;
        int height;
    } sizes[] = {{"720p", 1280, 720}, {"1080p", 1920, 1080}};
    for (const auto& size : sizes) {
        Crops* cropsHere = withCrops && size.width == 1280 ? &crops : nullptr;
        study(StudyClips::demoClip(size.width, size.height),
              QStringLiteral("demo_%1").arg(size.name), results, cropsHere);
        if (real) {
            study(StudyClips::realClip(size.width, size.height),
                  QStringLiteral("real_%1").arg(size.name), results, cropsHere);
        }
    }
    applyRule(results);
    if (withCrops) {
        crops.save(arguments[cropsAt + 1]);
    }
    std::printf("# load average at end: %s\n", qPrintable(CaptureBench::loadAverage()));
    return 0;
}
