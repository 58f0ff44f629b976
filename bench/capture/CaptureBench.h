#pragma once

// What the capture benchmarks share: clocks, the videotestsrc camera and the
// bare capture-and-encode pipeline Nelvo's costs are compared with.
#include "BenchProbes.h"
#include "CaptureSource.h"
#include "GstHandle.h"
#include "VideoEncoder.h"

#include <unistd.h>
#include <QDir>
#include <QFile>
#include <QRegularExpression>
#include <QString>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <ctime>
#include <functional>
#include <map>
#include <thread>
#include <vector>

namespace CaptureBench {

// The x264 configuration Nelvo used before the encoder study: what the new
// one is measured against.
inline const X264Configuration veryfastX264{"veryfast", "veryfast", ""};
// The one before the current: superfast with x264's slice threads.
inline const X264Configuration slicedSuperfastX264{"superfast", "superfast", ""};

using BenchProbes::processCpuSeconds;

inline double callingThreadCpuSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return now.tv_sec + now.tv_nsec / 1e9;
}

// CPU seconds used so far by each of the process's threads, by thread id,
// with the thread's name (/proc/self/task/<id>/stat: utime and stime).
struct ThreadCpu {
    QString name;
    double seconds = 0;
};
inline std::map<QString, ThreadCpu> threadCpuSeconds() {
    std::map<QString, ThreadCpu> threads;
    const double tick = static_cast<double>(sysconf(_SC_CLK_TCK));
    const QDir tasks(QStringLiteral("/proc/self/task"));
    for (const QString& id : tasks.entryList(QDir::Dirs | QDir::NoDotAndDotDot)) {
        QFile stat(tasks.filePath(id) + QStringLiteral("/stat"));
        if (!stat.open(QIODevice::ReadOnly)) {
            continue;
        }
        const QString line = QString::fromUtf8(stat.readAll());
        const int open = static_cast<int>(line.indexOf('('));
        const int close = static_cast<int>(line.lastIndexOf(')'));
        // After the name: state is field 3, utime 14 and stime 15.
        const QStringList fields = line.mid(close + 2).split(' ');
        if (open < 0 || close < 0 || fields.size() < 13) {
            continue;
        }
        threads[id] = {line.mid(open + 1, close - open - 1),
                       (fields[11].toDouble() + fields[12].toDouble()) / tick};
    }
    return threads;
}

// CPU seconds per thread name used between two readings.
inline std::map<QString, double> threadCpuBetween(const std::map<QString, ThreadCpu>& before,
                                                  const std::map<QString, ThreadCpu>& after) {
    std::map<QString, double> byName;
    for (const auto& [id, thread] : after) {
        const auto earlier = before.find(id);
        byName[thread.name] +=
            thread.seconds - (earlier == before.end() ? 0 : earlier->second.seconds);
    }
    return byName;
}

// A thread's name without its numbers and pad: GStreamer numbers elements per
// process and the kernel cuts names at 15 characters, so "videotestsrc0:s"
// and "videotestsrc12:" are the same thread of two runs ("videotestsrc").
inline QString threadKind(const QString& name) {
    QString kind = name.section(':', 0, 0);
    kind.remove(QRegularExpression(QStringLiteral("[0-9]+")));
    return kind;
}

// The load average over 1, 5 and 15 minutes: figures measured beside other
// work are not comparable with a quiet machine's.
inline QString loadAverage() {
    QFile file(QStringLiteral("/proc/loadavg"));
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()).section(' ', 0, 2)
                                          : QStringLiteral("unknown");
}

inline double wallSeconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

// A live 30 frames a second I420 camera that ends after `frames` frames.
inline QString videoTestSource(int width, int height, int frames) {
    return QStringLiteral(
               "videotestsrc is-live=true num-buffers=%3 ! capsfilter "
               "caps=video/x-raw,format=I420,width=%1,height=%2,framerate=30/1")
        .arg(width)
        .arg(height)
        .arg(frames);
}

// Nelvo's encoder settings (x264, High profile, avc) into a fake sink, as a
// bin description for after a raw video source.
inline const char* const bareEncoder =
    "x264enc name=encoder ! video/x-h264,profile=high ! h264parse ! "
    "video/x-h264,stream-format=avc,alignment=au ! fakesink sync=false";

// A leaky two-frame queue for before that encoder: the encoder in a thread of
// its own, fed by the camera's thread, which is the least armed capture can do
// without ever waiting for the encoder.
inline const char* const queueBeforeEncoder =
    "queue max-size-buffers=2 max-size-bytes=0 max-size-time=0 leaky=downstream ! ";

// CPU seconds the process spends running `pipeline`, whose encoder is named
// "encoder", until its source ends. `started` runs once it is playing.
inline double encodeToEndCpuSeconds(GstElement* pipeline, const std::function<void()>& started) {
    auto encoder = GstHandle<GstElement>::adopt(gst_bin_get_by_name(GST_BIN(pipeline), "encoder"));
    VideoEncoder::configureEncoder(encoder.get(), QStringLiteral("x264enc"), 30);
    const double start = processCpuSeconds();
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    started();
    auto bus = GstHandle<GstBus>::adopt(gst_element_get_bus(pipeline));
    GstHandle<GstMessage>::adopt(gst_bus_timed_pop_filtered(
        bus.get(), GST_CLOCK_TIME_NONE,
        static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
    gst_element_set_state(pipeline, GST_STATE_NULL);
    return processCpuSeconds() - start;
}

// Counts the buffers an element hands on at its "src" pad.
inline void countBuffers(GstElement* element, std::atomic<long long>& buffers) {
    auto pad = GstHandle<GstPad>::adopt(gst_element_get_static_pad(element, "src"));
    gst_pad_add_probe(
        pad.get(), GST_PAD_PROBE_TYPE_BUFFER,
        [](GstPad*, GstPadProbeInfo*, gpointer counter) {
            static_cast<std::atomic<long long>*>(counter)->fetch_add(1);
            return GST_PAD_PROBE_OK;
        },
        &buffers, nullptr);
}

// The test camera that counts the frames it delivers, so that the bare and
// the armed pipeline are measured over the same frames of the same source.
class CountedTestCamera : public LaunchSource {
public:
    CountedTestCamera(int width, int height, int frames)
        : LaunchSource(QStringLiteral("bench"), QStringLiteral("Bench"),
                       videoTestSource(width, height, frames)) {}
    GstHandle<GstElement> makeElement() override {
        GstHandle<GstElement> element = LaunchSource::makeElement();
        if (element) {
            countBuffers(element.get(), frames);
        }
        return element;
    }
    std::atomic<long long> frames{0};
};

// What a pipeline costs in its steady state: the process's CPU seconds but
// the measuring thread's, and each kind of thread's, while `frames` frames
// went by.
struct SteadyCpu {
    double seconds = 0;
    std::map<QString, double> threadSeconds;  // by threadKind
    long long frames = 0;                     // 0: the frames stopped coming
};

// Measures from the moment `counter` reaches `from` until `count` frames
// more have gone by, looking every 10 ms (a frame is 33 ms). Start-up (thread creation, the first
// keyframe, the encoder's first frames) and teardown are left out. Gives up when no frame comes for
// 3 s.
inline SteadyCpu cpuBetweenFrames(const std::atomic<long long>& counter, long long from,
                                  long long count) {
    const auto waitFor = [&counter](long long target) {
        long long seen = counter.load();
        double lastFrame = wallSeconds();
        while (seen < target) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
            const long long now = counter.load();
            if (now != seen) {
                seen = now;
                lastFrame = wallSeconds();
            } else if (wallSeconds() - lastFrame > 3) {
                return -1LL;
            }
        }
        return seen;
    };
    SteadyCpu result;
    const long long first = waitFor(from);
    if (first < 0) {
        return result;
    }
    const auto threadsBefore = threadCpuSeconds();
    const double before = processCpuSeconds() - callingThreadCpuSeconds();
    const long long last = waitFor(first + count);
    if (last < 0) {
        return result;
    }
    result.seconds = processCpuSeconds() - callingThreadCpuSeconds() - before;
    for (const auto& [name, seconds] : threadCpuBetween(threadsBefore, threadCpuSeconds())) {
        result.threadSeconds[threadKind(name)] += seconds;
    }
    result.frames = last - first;
    return result;
}

// The bare pipeline: the test source above straight into the encoder.
// What capturing and encoding cost with nothing else.
inline double bareEncodeCpuSeconds(int width, int height, int frames) {
    const QString description =
        videoTestSource(width, height, frames) + QStringLiteral(" ! ") + bareEncoder;
    auto pipeline =
        GstHandle<GstElement>::adopt(gst_parse_launch(description.toUtf8().constData(), nullptr));
    return encodeToEndCpuSeconds(pipeline.get(), [] {});
}

// The bare pipeline (`queued`: with the queue above before its encoder) on
// `camera`'s frames, measured like the armed one: from frame `from` for
// `count` frames.
inline SteadyCpu bareEncodeSteadyCpu(CountedTestCamera& camera, long long from, long long count,
                                     bool queued = false) {
    auto pipeline = GstHandle<GstElement>::sink(gst_pipeline_new("bare"));
    GstHandle<GstElement> source = camera.makeElement();
    const QByteArray description = QByteArray(queued ? queueBeforeEncoder : "") + bareEncoder;
    GstElement* encode = gst_parse_bin_from_description(description.constData(), TRUE, nullptr);
    gst_bin_add_many(GST_BIN(pipeline.get()), source.get(), encode, nullptr);
    gst_element_link(source.get(), encode);
    auto encoder =
        GstHandle<GstElement>::adopt(gst_bin_get_by_name(GST_BIN(pipeline.get()), "encoder"));
    VideoEncoder::configureEncoder(encoder.get(), QStringLiteral("x264enc"), 30);
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    const SteadyCpu cpu = cpuBetweenFrames(camera.frames, from, count);
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    return cpu;
}

template <typename T>
T median(std::vector<T> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace CaptureBench
