// The time-lapse of a 30-minute stretch of 1280x720 movies (thirty one-minute
// recordings with Nelvo's encoder settings, written by its recorder), against
// a naive renderer in the same run that decodes every frame of every movie,
// and the peak memory of rendering 10 and 30 minutes.
#include "StretchMovies.h"
#include "TimeLapseRenderer.h"
#include "TimeLapseWriter.h"

#include <gst/app/gstappsink.h>
#include <gst/video/video.h>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <atomic>
#include <cstdio>
#include <ctime>
#include <thread>

namespace {

constexpr int minutes = 30;
const QDateTime first(QDate(2025, 3, 1), QTime(1, 0), QTimeZone::systemTimeZone());

qint64 residentKiB() {
    QFile status(QStringLiteral("/proc/self/status"));
    if (!status.open(QIODevice::ReadOnly)) {
        return 0;
    }
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:")) {
            return line.mid(6).trimmed().split(' ').first().toLongLong();
        }
    }
    return 0;
}

// Seconds of processor time used by the whole process so far, all threads.
double processorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return double(now.tv_sec) + double(now.tv_nsec) / 1e9;
}

// Runs `work` while sampling the resident size; the peak above the start, in MiB.
template <typename Work>
double peakGrowthMiB(Work work) {
    const qint64 before = residentKiB();
    std::atomic<qint64> peak{before};
    std::atomic<bool> done{false};
    std::thread sampler([&] {
        while (!done) {
            peak = std::max(peak.load(), residentKiB());
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
    });
    work();
    done = true;
    sampler.join();
    return static_cast<double>(peak - before) / 1024.0;
}

TimeLapseRenderer::Request requestFor(const QString& folder, int length) {
    const ArmedStretch stretch{first.addSecs(-60), first.addSecs(60 * length)};
    return {stretch, StretchMovies::eventsIn(folder, stretch.from, stretch.to), folder,
            QTimeZone::systemTimeZone(), QLocale::system()};
}

// The naive way: every frame of every movie decoded in order, the ones at the
// wanted offsets drawn and encoded like the renderer's.
int renderNaively(const std::vector<Event>& events, const QString& output) {
    TimeLapseWriter writer;
    bool opened = false;
    for (const Event& event : events) {
        for (const QString& file : event.files) {
            if (!file.endsWith(QStringLiteral(".mov"))) {
                continue;
            }
            GstElement* pipeline = gst_parse_launch(
                "filesrc name=src ! qtdemux ! h264parse ! avdec_h264 ! videoconvert"
                " ! video/x-raw,format=BGRx ! appsink name=out sync=false",
                nullptr);
            GstElement* source = gst_bin_get_by_name(GST_BIN(pipeline), "src");
            g_object_set(source, "location", file.toLocal8Bit().constData(), nullptr);
            gst_object_unref(source);
            GstElement* sink = gst_bin_get_by_name(GST_BIN(pipeline), "out");
            gst_element_set_state(pipeline, GST_STATE_PLAYING);
            double next = 0;
            while (GstSample* sample = gst_app_sink_pull_sample(GST_APP_SINK(sink))) {
                const double at =
                    double(GST_BUFFER_PTS(gst_sample_get_buffer(sample))) / GST_SECOND;
                if (at + 1e-6 >= next) {
                    next += 2;
                    GstVideoInfo info;
                    gst_video_info_from_caps(&info, gst_sample_get_caps(sample));
                    GstMapInfo map;
                    gst_buffer_map(gst_sample_get_buffer(sample), &map, GST_MAP_READ);
                    const QImage picture(map.data, info.width, info.height, info.stride[0],
                                         QImage::Format_RGB32);
                    if (!opened) {
                        opened = writer.open(output, picture.size());
                    }
                    writer.append([&](QImage& canvas) {
                        QPainter painter(&canvas);
                        TimeLapseRenderer::drawFrame(&picture, QStringLiteral("01:00:00"), painter,
                                                     canvas.width(), canvas.height());
                    });
                    gst_buffer_unmap(gst_sample_get_buffer(sample), &map);
                }
                gst_sample_unref(sample);
            }
            gst_element_set_state(pipeline, GST_STATE_NULL);
            gst_object_unref(sink);
            gst_object_unref(pipeline);
        }
    }
    writer.finish();
    return writer.appended();
}

}  // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    QTemporaryDir dir;
    QTemporaryDir elsewhere;
    {
        StretchMovies movies({1280, 720, 30, 60});
        for (int i = 0; i < minutes; ++i) {
            if (!movies.record(dir.path(), first.addSecs(60 * i), QStringLiteral("Front Door"),
                               QStringLiteral("Desk Mic"), 60)) {
                std::fprintf(stderr, "could not record the stretch\n");
                return 1;
            }
        }
    }
    const TimeLapseRenderer::Request whole = requestFor(dir.path(), minutes);
    const double sourceSeconds = 60.0 * minutes;

    // A first short run loads what every run needs (plugins, fonts, the
    // encoder's tables), so the peaks below are the rendering's own.
    TimeLapseRenderer::Outcome outcome = TimeLapseRenderer::render(requestFor(dir.path(), 1));
    QFile::remove(outcome.path);
    const double peak10 =
        peakGrowthMiB([&] { outcome = TimeLapseRenderer::render(requestFor(dir.path(), 10)); });
    QFile::remove(outcome.path);

    QElapsedTimer timer;
    timer.start();
    double processor = processorSeconds();
    const double peak30 = peakGrowthMiB([&] { outcome = TimeLapseRenderer::render(whole); });
    const double seconds = timer.nsecsElapsed() / 1e9;
    processor = processorSeconds() - processor;
    if (outcome.failure) {
        std::fprintf(stderr, "rendering failed\n");
        return 1;
    }
    QFile::remove(outcome.path);

    timer.restart();
    double naiveProcessor = processorSeconds();
    const int naivePictures = renderNaively(whole.events, elsewhere.filePath("naive.mov"));
    const double naiveSeconds = timer.nsecsElapsed() / 1e9;
    naiveProcessor = processorSeconds() - naiveProcessor;

    std::printf("timelapse_30min_720p: %.1f s\n", seconds);
    std::printf("timelapse_30min_720p_speed: %.0f x real time\n", sourceSeconds / seconds);
    std::printf("timelapse_30min_720p_cpu: %.1f s\n", processor);
    std::printf("timelapse_30min_720p_naive: %.1f s\n", naiveSeconds);
    std::printf("timelapse_30min_720p_naive_speed: %.0f x real time\n",
                sourceSeconds / naiveSeconds);
    std::printf("timelapse_30min_720p_naive_cpu: %.1f s\n", naiveProcessor);
    std::printf("timelapse_30min_720p_vs_naive: %.1f x faster\n", naiveSeconds / seconds);
    std::printf("timelapse_naive_pictures: %d pictures\n", naivePictures);
    std::printf("timelapse_peak_memory_10min: %.1f MiB\n", peak10);
    std::printf("timelapse_peak_memory_30min: %.1f MiB\n", peak30);
    return 0;
}
