#include "StudyClips.h"

#include "DemoCamera.h"

#include <gst/app/gstappsink.h>
#include <gst/video/video.h>
#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>
#include <QProcess>
#include <QStandardPaths>
#include <cstdio>
#include <cstdlib>

namespace StudyClips {

namespace {

constexpr int frameCount = framesPerSecond * seconds;

GstHandle<GstCaps> i420Caps(int width, int height) {
    return GstHandle<GstCaps>::adopt(gst_caps_new_simple(
        "video/x-raw", "format", G_TYPE_STRING, "I420", "width", G_TYPE_INT, width, "height",
        G_TYPE_INT, height, "framerate", GST_TYPE_FRACTION, framesPerSecond, 1, nullptr));
}

void stamp(GstBuffer* buffer, int index) {
    GST_BUFFER_PTS(buffer) = gst_util_uint64_scale(index, GST_SECOND, framesPerSecond);
    GST_BUFFER_DTS(buffer) = GST_CLOCK_TIME_NONE;
    GST_BUFFER_DURATION(buffer) = GST_SECOND / framesPerSecond;
}

bool run(const QString& program, const QStringList& arguments) {
    QProcess process;
    process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process.start(program, arguments);
    return process.waitForFinished(10 * 60 * 1000) &&
           process.exitStatus() == QProcess::NormalExit && process.exitCode() == 0;
}

// The footage cut and brought to 30 frames a second once (motion-compensated
// interpolation is slow), kept beside the benchmarks as a lossless file.
QString thirtyFramesFootage() {
    const QString folder = QCoreApplication::applicationDirPath() + QStringLiteral("/media");
    const QString path = folder + QStringLiteral("/real-scene-768x432-30fps.mkv");
    if (QFileInfo::exists(path)) {
        return path;
    }
    QDir().mkpath(folder);
    const QString partial = path + QStringLiteral(".part.mkv");
    // The whole view (16:9 out of 4:3) from 2 s, then a closer view of
    // another spot from 40 s, mirrored: the camera turned elsewhere.
    const QString filter = QStringLiteral(
        "[0:v]split[s0][s1];"
        "[s0]trim=start=2:duration=5.5,setpts=PTS-STARTPTS,crop=768:432:0:72[a];"
        "[s1]trim=start=40:duration=4.6,setpts=PTS-STARTPTS,crop=512:288:256:200,"
        "scale=768:432:flags=bicubic,hflip[b];"
        "[a][b]concat=n=2:v=1:a=0,minterpolate=fps=30:mi_mode=mci:mc_mode=aobmc:me_mode=bidir,"
        "format=yuv420p[v]");
    std::printf("# making the 30 fps real clip once (about a minute of CPU)\n");
    std::fflush(stdout);
    if (!run(QStringLiteral("ffmpeg"),
             {"-nostdin", "-v", "error", "-y", "-i", footagePath(), "-filter_complex", filter,
              "-map", "[v]", "-frames:v", QString::number(frameCount), "-c:v", "ffv1", partial}) ||
        !QFile::rename(partial, path)) {
        QFile::remove(partial);
        return {};
    }
    return path;
}

// The frame whose luma differs most from the one before it.
int biggestChange(const std::vector<GstHandle<GstBuffer>>& frames, int width, int height) {
    int found = -1;
    double largest = 0;
    for (std::size_t i = 1; i < frames.size(); ++i) {
        GstMapInfo a;
        GstMapInfo b;
        gst_buffer_map(frames[i - 1].get(), &a, GST_MAP_READ);
        gst_buffer_map(frames[i].get(), &b, GST_MAP_READ);
        long long sum = 0;
        for (int p = 0; p < width * height; p += 7) {
            sum += std::abs(int(a.data[p]) - int(b.data[p]));
        }
        gst_buffer_unmap(frames[i - 1].get(), &a);
        gst_buffer_unmap(frames[i].get(), &b);
        if (sum > largest) {
            largest = static_cast<double>(sum);
            found = static_cast<int>(i);
        }
    }
    return found;
}

}  // namespace

QString footagePath() {
    return QStringLiteral("/usr/share/doc/opencv-doc/examples/data/vtest.avi");
}

bool realClipAvailable() {
    if (!QFileInfo::exists(footagePath())) {
        std::printf(
            "# MISSING: the real camera clip needs %s from the Debian package "
            "opencv-doc (make bench installs it); its figures are left out\n",
            qPrintable(footagePath()));
        return false;
    }
    if (QStandardPaths::findExecutable(QStringLiteral("ffmpeg")).isEmpty()) {
        std::printf(
            "# MISSING: ffmpeg, which makes the real camera clip; its figures are left "
            "out\n");
        return false;
    }
    return true;
}

Clip demoClip(int width, int height) {
    Clip clip{QStringLiteral("demo"), width, height, i420Caps(width, height), {}, -1, 119};
    DemoCamera::Options options;
    options.width = width;
    options.height = height;
    options.realTime = false;
    options.frameLimit = frameCount;
    DemoCamera camera(options);
    auto pipeline = GstHandle<GstElement>::adopt(gst_pipeline_new("demo-clip"));
    GstHandle<GstElement> source = camera.makeElement();
    GstElement* sink = gst_element_factory_make("appsink", nullptr);
    g_object_set(sink, "sync", FALSE, "max-buffers", 4u, nullptr);
    gst_bin_add_many(GST_BIN(pipeline.get()), GST_ELEMENT(gst_object_ref(source.get())), sink,
                     nullptr);
    gst_element_link(source.get(), sink);
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    camera.sessionStarted();
    // The camera's buffers go back to its pool: each frame is kept as a copy.
    while (auto sample =
               GstHandle<GstSample>::adopt(gst_app_sink_pull_sample(GST_APP_SINK(sink)))) {
        GstBuffer* frame = gst_buffer_copy_deep(gst_sample_get_buffer(sample.get()));
        stamp(frame, static_cast<int>(clip.frames.size()));
        clip.frames.push_back(GstHandle<GstBuffer>::adopt(frame));
    }
    camera.sessionStopping();
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    camera.sessionStopped();
    // The object enters at 5 s: the first frame that shows it.
    clip.sceneChange = static_cast<int>(DemoCamera::crossingStart * framesPerSecond) + 1;
    return clip;
}

Clip realClip(int width, int height) {
    Clip clip{QStringLiteral("real"), width, height, i420Caps(width, height), {}, -1, -1};
    const QString footage = thirtyFramesFootage();
    if (footage.isEmpty()) {
        std::printf("# the real clip could not be made\n");
        return clip;
    }
    // Sensor noise, new on every frame, after scaling (as a camera's would be).
    const QString command =
        QStringLiteral(
            "ffmpeg -nostdin -v error -i '%1' -vf 'scale=%2:%3:flags=bicubic,"
            "noise=c0s=6:c0f=t:c1s=3:c1f=t:c2s=3:c2f=t,format=yuv420p' -frames:v %4 "
            "-f rawvideo -")
            .arg(footage)
            .arg(width)
            .arg(height)
            .arg(frameCount);
    FILE* frames = popen(command.toUtf8().constData(), "r");
    if (!frames) {
        return clip;
    }
    const gsize size = static_cast<gsize>(width) * height * 3 / 2;
    for (;;) {
        GstBuffer* frame = gst_buffer_new_allocate(nullptr, size, nullptr);
        GstMapInfo map;
        gst_buffer_map(frame, &map, GST_MAP_WRITE);
        const bool whole = std::fread(map.data, 1, size, frames) == size;
        gst_buffer_unmap(frame, &map);
        if (!whole) {
            gst_buffer_unref(frame);
            break;
        }
        stamp(frame, static_cast<int>(clip.frames.size()));
        clip.frames.push_back(GstHandle<GstBuffer>::adopt(frame));
    }
    pclose(frames);
    clip.sceneChange = biggestChange(clip.frames, width, height);
    return clip;
}

}  // namespace StudyClips
