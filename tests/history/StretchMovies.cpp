#include "StretchMovies.h"

#include "EncodedStream.h"
#include "FileOutputManager.h"
#include "MovieProbe.h"
#include "PreRollRecorder.h"
#include "RecorderFeed.h"
#include "SettingsKeys.h"
#include "VideoEncoder.h"
#include "WhatHappened.h"

#include <gst/app/gstappsink.h>
#include <QProcess>
#include <QTemporaryFile>

namespace {

// Video as the camera pipeline encodes it, with x264 and Nelvo's settings.
std::vector<GstHandle<GstSample>> encodedVideo(const StretchMovies::Options& o) {
    Gst::ensureInitialised();
    const int frames = static_cast<int>(o.seconds * o.fps + 0.5);
    const QByteArray description =
        "videotestsrc pattern=ball background-color=0xff808080 num-buffers=" +
        QByteArray::number(frames) +
        " ! video/x-raw,format=I420,width=" + QByteArray::number(o.width) +
        ",height=" + QByteArray::number(o.height) + ",framerate=" + QByteArray::number(o.fps) +
        "/1 ! timeoverlay font-desc=\"Sans 16\" ! x264enc name=enc ! h264parse"
        " ! video/x-h264,stream-format=avc,alignment=au ! appsink name=out sync=false";
    GError* error = nullptr;
    GstElement* parsed = gst_parse_launch(description.constData(), &error);
    if (error) {
        qFatal("Cannot build the test encoder: %s", error->message);
    }
    const auto pipeline = GstHandle<GstElement>::adopt(GST_ELEMENT(gst_object_ref_sink(parsed)));
    GstElement* encoder = gst_bin_get_by_name(GST_BIN(pipeline.get()), "enc");
    VideoEncoder::configureEncoder(encoder, QStringLiteral("x264enc"), o.fps);
    gst_object_unref(encoder);
    GstElement* sink = gst_bin_get_by_name(GST_BIN(pipeline.get()), "out");
    gst_element_set_state(pipeline.get(), GST_STATE_PLAYING);
    std::vector<GstHandle<GstSample>> samples;
    while (GstSample* sample = gst_app_sink_pull_sample(GST_APP_SINK(sink))) {
        samples.push_back(GstHandle<GstSample>::adopt(sample));
    }
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    gst_object_unref(sink);
    // x264 moves its output into the future; bring the first frame to 0, on
    // the recorder tests' capture clock.
    if (!samples.empty()) {
        const auto offset = static_cast<GstClockTimeDiff>(RecorderMedia::origin) -
                            static_cast<GstClockTimeDiff>(EncodedStream::pts(samples.front()));
        for (GstHandle<GstSample>& sample : samples) {
            sample = EncodedStream::shifted(sample, offset);
        }
    }
    return samples;
}

QImage decoded(const QStringList& arguments) {
    QTemporaryFile png(QStringLiteral("XXXXXX.png"));
    if (!png.open()) {
        return {};
    }
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"), QStringList{"-v", "error", "-y"} + arguments +
                                               QStringList{"-frames:v", "1", png.fileName()});
    if (!ffmpeg.waitForFinished(60000) || ffmpeg.exitCode() != 0) {
        return {};
    }
    return QImage(png.fileName()).convertToFormat(QImage::Format_RGB32);
}

}  // namespace

StretchMovies::StretchMovies(const Options& options)
    : options_(options), defaults_(settingsDir_.filePath(QStringLiteral("Nelvo.conf"))) {
    video_ = encodedVideo(options);
    for (const auto& sample : EncodedStream::audio(options.seconds)) {
        audio_.push_back(EncodedStream::shifted(sample, RecorderMedia::origin));
    }
    defaults_.set(SettingsKeys::preRollSeconds, 1.0);
}

std::optional<QString> StretchMovies::record(const QString& folder, const QDateTime& start,
                                             const QString& camera,
                                             const std::optional<QString>& microphone,
                                             double seconds, double lostFrom, double lostTo) {
    RecorderMedia media;
    media.video = video_;
    media.audio = audio_;
    PreRollRecorder recorder(defaults_, [start] { return start; });
    const QString path = folder + u'/' +
                         FileOutputManager::recordingName(start, camera, microphone) +
                         QStringLiteral(".mov");
    // The newest keyframe at least a second old is the one at 0: the movie
    // starts with the media.
    media.feed(recorder, 0, 1.5);
    recorder.setNewestFrame(EncodedStream::rawFrame(options_.width, options_.height, "I420"));
    Finishes finishes;
    recorder.start(path, finishes.completion());
    if (lostFrom >= 0) {
        media.feed(recorder, 1.5, lostFrom);
        media.feed(recorder, lostTo, seconds);
    } else {
        media.feed(recorder, 1.5, seconds);
    }
    recorder.stop();
    if (!finishes.waitFor(1) || finishes.calls().front().error) {
        return std::nullopt;
    }
    const QString written =
        lostFrom < 0 ? path
                     : folder + u'/' + FileOutputManager::recordingName(start, camera, microphone) +
                           QStringLiteral(" - %1s missing.mov").arg(std::lround(lostTo - lostFrom));
    // Every movie the recorder wrote is read back independently.
    const MovieProbe probe(written);
    if (!probe.readable() || probe.codec(QStringLiteral("video")) != QStringLiteral("h264") ||
        !probe.firstFrameIsKeyframe()) {
        return std::nullopt;
    }
    return written;
}

std::vector<Event> StretchMovies::eventsIn(const QString& folder, const QDateTime& from,
                                           const QDateTime& to) {
    return WhatHappened::eventsOf(FileOutputManager(folder).recordings(), {from, to}, 0);
}

QImage StretchMovies::pictureAt(const QString& moviePath, double seconds) {
    return decoded({"-ss", QString::number(seconds, 'f', 3), "-i", moviePath});
}

QImage StretchMovies::frameNumber(const QString& moviePath, int index) {
    return decoded({"-i", moviePath, "-vf", QStringLiteral("select=eq(n\\,%1)").arg(index)});
}

double StretchMovies::differingShare(const QImage& a, const QImage& b, const QRect& area) {
    if (a.size() != b.size() || !a.rect().contains(area)) {
        return 1;
    }
    int differing = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            differing += std::abs(qGray(a.pixel(x, y)) - qGray(b.pixel(x, y))) > 32 ? 1 : 0;
        }
    }
    return double(differing) / (area.width() * area.height());
}

double StretchMovies::meanGrey(const QImage& image, const QRect& area) {
    double sum = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            sum += qGray(image.pixel(x, y));
        }
    }
    return sum / (area.width() * area.height());
}
