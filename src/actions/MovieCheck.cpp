#include "MovieCheck.h"

#include "GstHandle.h"

#include <QCoreApplication>
#include <QFile>
#include <algorithm>
#include <cmath>
#include <memory>
#include <mutex>
#include <vector>

namespace {

// A stream of the movie as its samples pass the demuxer. Written only by the
// demuxer's streaming thread, read once the pipeline has stopped.
struct Track {
    bool video = false;
    bool audio = false;
    std::vector<qint64> timestamps;
    std::optional<qint64> firstKeyframe;
    qint64 end = 0;
};

struct Reading {
    std::mutex mutex;  // guards `tracks` while pads appear
    std::vector<std::unique_ptr<Track>> tracks;
};

GstPadProbeReturn sampleArrived(GstPad*, GstPadProbeInfo* info, gpointer data) {
    auto* track = static_cast<Track*>(data);
    GstBuffer* buffer = GST_PAD_PROBE_INFO_BUFFER(info);
    if (!buffer || !GST_BUFFER_PTS_IS_VALID(buffer)) {
        return GST_PAD_PROBE_OK;
    }
    const auto pts = static_cast<qint64>(GST_BUFFER_PTS(buffer));
    track->timestamps.push_back(pts);
    if (!track->firstKeyframe && !GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT)) {
        track->firstKeyframe = pts;
    }
    const qint64 duration =
        GST_BUFFER_DURATION_IS_VALID(buffer) ? static_cast<qint64>(GST_BUFFER_DURATION(buffer)) : 0;
    track->end = std::max(track->end, pts + duration);
    return GST_PAD_PROBE_OK;
}

void padAdded(GstElement* demuxer, GstPad* pad, gpointer data) {
    auto* reading = static_cast<Reading*>(data);
    auto track = std::make_unique<Track>();
    const auto caps = GstHandle<GstCaps>::adopt(gst_pad_get_current_caps(pad));
    const gchar* media = caps && gst_caps_get_size(caps.get()) > 0
                             ? gst_structure_get_name(gst_caps_get_structure(caps.get(), 0))
                             : "";
    const GCharHandle name(gst_pad_get_name(pad));
    track->video = g_str_has_prefix(media, "video/") || g_str_has_prefix(name.get(), "video");
    track->audio = g_str_has_prefix(media, "audio/") || g_str_has_prefix(name.get(), "audio");
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, sampleArrived, track.get(), nullptr);

    GstElement* sink = gst_element_factory_make("fakesink", nullptr);
    g_object_set(sink, "sync", FALSE, "async", FALSE, nullptr);
    GstElement* pipeline = GST_ELEMENT(gst_element_get_parent(demuxer));
    gst_bin_add(GST_BIN(pipeline), sink);
    gst_object_unref(pipeline);
    const auto sinkPad = GstHandle<GstPad>::adopt(gst_element_get_static_pad(sink, "sink"));
    gst_pad_link(pad, sinkPad.get());
    gst_element_sync_state_with_parent(sink);
    const std::lock_guard guard(reading->mutex);
    reading->tracks.push_back(std::move(track));
}

double seconds(qint64 nanoseconds) {
    return static_cast<double>(nanoseconds) / GST_SECOND;
}

QString tr(const char* text) {
    return QCoreApplication::translate("MovieCheck", text);
}

// Runs the pipeline to its end; the error that stopped it, if any.
std::optional<QString> runToEnd(GstElement* pipeline) {
    if (gst_element_set_state(pipeline, GST_STATE_PLAYING) == GST_STATE_CHANGE_FAILURE) {
        return tr("it could not be opened");
    }
    const auto bus = GstHandle<GstBus>::adopt(gst_element_get_bus(pipeline));
    const auto message = GstHandle<GstMessage>::adopt(gst_bus_timed_pop_filtered(
        bus.get(), 120 * GST_SECOND,
        static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
    if (!message) {
        return tr("reading it took too long");
    }
    if (GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_ERROR) {
        GErrorHandle error;
        GCharHandle debug;
        gst_message_parse_error(message.get(), Gst::out(error), Gst::out(debug));
        return QString::fromUtf8(error ? error->message : "unknown error");
    }
    return std::nullopt;
}

}  // namespace

qint64 MovieCheck::framesMissing(const std::vector<qint64>& timestamps) {
    if (timestamps.size() < 3) {
        return 0;
    }
    std::vector<qint64> spacings;
    spacings.reserve(timestamps.size() - 1);
    for (std::size_t i = 1; i < timestamps.size(); ++i) {
        spacings.push_back(timestamps[i] - timestamps[i - 1]);
    }
    std::vector<qint64> sorted = spacings;
    std::nth_element(sorted.begin(), sorted.begin() + sorted.size() / 2, sorted.end());
    const qint64 usual = sorted[sorted.size() / 2];
    if (usual <= 0) {
        return 0;
    }
    qint64 missing = 0;
    for (const qint64 spacing : spacings) {
        const auto frames = std::llround(static_cast<double>(spacing) / usual);
        missing += std::max<qint64>(0, frames - 1);
    }
    return missing;
}

MovieCheck::Facts MovieCheck::read(const QString& path) {
    Gst::ensureInitialised();
    Facts facts;
    if (!QFile::exists(path)) {
        facts.problem = tr("it isn't there");
        return facts;
    }
    const auto pipeline = GstHandle<GstElement>::sink(gst_pipeline_new(nullptr));
    GstElement* source = gst_element_factory_make("filesrc", nullptr);
    GstElement* demuxer = gst_element_factory_make("qtdemux", nullptr);
    if (!source || !demuxer) {
        facts.problem = tr("GStreamer cannot read QuickTime movies here");
        return facts;
    }
    g_object_set(source, "location", QFile::encodeName(path).constData(), nullptr);
    gst_bin_add_many(GST_BIN(pipeline.get()), source, demuxer, nullptr);
    gst_element_link(source, demuxer);
    Reading reading;
    g_signal_connect(demuxer, "pad-added", G_CALLBACK(padAdded), &reading);

    facts.problem = runToEnd(pipeline.get());
    gst_element_set_state(pipeline.get(), GST_STATE_NULL);
    if (facts.problem) {
        return facts;
    }
    for (const auto& track : reading.tracks) {
        // In presentation order, whatever order the samples were stored in.
        std::sort(track->timestamps.begin(), track->timestamps.end());
        facts.lengthSeconds = std::max(facts.lengthSeconds, seconds(track->end));
        if (track->timestamps.empty()) {
            continue;
        }
        const double start = seconds(track->timestamps.front());
        if (track->video && !facts.videoStartSeconds) {
            facts.videoStartSeconds = start;
            facts.videoFrames = static_cast<qint64>(track->timestamps.size());
            if (track->firstKeyframe) {
                facts.firstKeyframeSeconds = seconds(*track->firstKeyframe);
            }
            facts.framesLost = framesMissing(track->timestamps);
        } else if (track->audio && !facts.audioStartSeconds) {
            facts.audioStartSeconds = start;
        }
    }
    if (!facts.videoStartSeconds) {
        facts.problem = tr("it has no video");
    }
    return facts;
}
