#include "CameraPipeline.h"
#include "Defaults.h"
#include "DemoCamera.h"
#include "DemoMicrophone.h"
#include "MovieProbe.h"
#include "PreRollRecorder.h"
#include "RecorderSink.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"

#include <unistd.h>
#include <QDir>
#include <QFile>
#include <QSemaphore>
#include <QTest>
#include <atomic>
#include <fstream>
#include <map>

namespace {

// Passes everything on to the recorder and counts the encoded frames, so a
// round knows when the recorder holds a keyframe and has recorded some more.
class CountingSink : public CameraPipelineSink {
public:
    explicit CountingSink(PreRollRecorder& recorder) : sink_(recorder) {}

    void appendVideo(GstHandle<GstSample> encodedH264) override {
        sink_.appendVideo(std::move(encodedH264));
        ++encoded;
    }
    void appendAudio(GstHandle<GstSample> pcm) override { sink_.appendAudio(std::move(pcm)); }
    void setNewestFrame(GstHandle<GstSample> rawFrame) override {
        sink_.setNewestFrame(std::move(rawFrame));
    }
    void recordLoss(CaptureLoss reason) override { sink_.recordLoss(reason); }
    void reset() override { sink_.reset(); }

    std::atomic<int> encoded{0};

private:
    RecorderSink sink_;
};

bool waitUntil(const std::function<bool()>& done, int milliseconds) {
    QDeadlineTimer deadline(milliseconds);
    while (!done()) {
        if (deadline.hasExpired()) {
            return false;
        }
        QTest::qWait(10);
    }
    return true;
}

long residentKilobytes() {
    std::ifstream statm("/proc/self/statm");
    long size = 0;
    long resident = 0;
    statm >> size >> resident;
    return resident * (::sysconf(_SC_PAGESIZE) / 1024);
}

}  // namespace

// Capture rebuilt and movies written over and over leave nothing behind: the
// number of live GStreamer objects and the resident memory do not grow with
// the number of rounds.
class tst_PipelineLifecycle : public QObject {
    Q_OBJECT

    using Census = std::map<QString, int>;  // live objects by type

    // Live GStreamer objects and mini objects, from the leaks tracer.
    Census census() {
        GstStructure* info = nullptr;
        g_signal_emit_by_name(tracer_, "get-live-objects", &info);
        const GstStructureHandle owned(info);
        Census counts;
        const GValue* list = info ? gst_structure_get_value(info, "live-objects-list") : nullptr;
        for (guint i = 0; list && i < gst_value_list_get_size(list); ++i) {
            const GstStructure* entry = gst_value_get_structure(gst_value_list_get_value(list, i));
            const GValue* object = gst_structure_get_value(entry, "object");
            const char* type = !object ? "?"
                               : G_VALUE_HOLDS_OBJECT(object) && g_value_get_object(object)
                                   ? G_OBJECT_TYPE_NAME(g_value_get_object(object))
                                   : G_VALUE_TYPE_NAME(object);
            ++counts[QString::fromUtf8(type)];
        }
        return counts;
    }

    static int total(const Census& census) {
        int sum = 0;
        for (const auto& [type, count] : census) {
            sum += count;
        }
        return sum;
    }

    static QString growth(const Census& before, const Census& after) {
        QStringList lines;
        for (const auto& [type, count] : after) {
            const auto found = before.find(type);
            const int was = found == before.end() ? 0 : found->second;
            if (count > was) {
                lines << QStringLiteral("%1 +%2").arg(type).arg(count - was);
            }
        }
        return lines.join(QStringLiteral(", "));
    }

    // One round: a pipeline made and configured from scratch with its own
    // recorder, run until the recorder holds a keyframe, one movie recorded
    // for a few frames and finished, then everything torn down.
    void round(int index) {
        PreRollRecorder recorder(*defaults_);
        CountingSink sink(recorder);
        DemoCamera::Options options;
        options.width = 320;
        options.height = 240;
        options.crossings = false;
        CameraPipeline pipeline(*defaults_, sink, std::make_shared<DemoCamera>(options),
                                std::make_shared<DemoMicrophone>());
        QVERIFY(pipeline.configure());
        pipeline.startRunning();
        QVERIFY(waitUntil([&] { return sink.encoded >= 3; }, 10000));

        const QString path = environment_.home() + QStringLiteral("/round-%1.mov").arg(index);
        QSemaphore finished;
        std::optional<Error> outcome;
        recorder.start(path, [&](const QString&, std::optional<Error> error) {
            outcome = std::move(error);
            finished.release();
        });
        const int started = sink.encoded;
        QVERIFY(waitUntil([&] { return sink.encoded >= started + 6; }, 10000));
        recorder.stop();
        QVERIFY(finished.tryAcquire(1, 20000));
        QVERIFY2(!outcome, outcome ? qPrintable(outcome->description) : "");
        pipeline.stopRunning();

        // Frames lost under load may have renamed the movie ("... - 1s missing").
        const QDir folder(environment_.home());
        const QStringList written =
            folder.entryList({QStringLiteral("round-%1*.mov").arg(index)}, QDir::Files);
        QCOMPARE(written.size(), 1);
        const MovieProbe probe(folder.filePath(written.front()));
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec("video"), QStringLiteral("h264"));
        QCOMPARE(probe.codec("audio"), QStringLiteral("aac"));
        QVERIFY(probe.frameCount() > 0);
        for (const QString& file :
             folder.entryList({QStringLiteral("round-%1*").arg(index)}, QDir::Files)) {
            QFile::remove(folder.filePath(file));
        }
    }

private Q_SLOTS:
    void initTestCase() {
        // The tracer is chosen when GStreamer starts, so before anything uses it.
        qputenv("GST_TRACERS", "leaks");
        Gst::ensureInitialised();
        GList* tracers = gst_tracing_get_active_tracers();
        for (GList* item = tracers; item; item = item->next) {
            if (!tracer_ && g_str_equal(G_OBJECT_TYPE_NAME(item->data), "GstLeaksTracer")) {
                tracer_ = GST_TRACER(gst_object_ref(item->data));
            }
        }
        g_list_free_full(tracers, gst_object_unref);
        QVERIFY2(tracer_, "GStreamer's leaks tracer is not available");
        defaults_ = std::make_unique<Defaults>(environment_.settingsFilePath());
        defaults_->set(SettingsKeys::preRollSeconds, 1);
    }

    void cleanupTestCase() {
        defaults_.reset();
        if (tracer_) {
            gst_object_unref(tracer_);
        }
    }

    void aHundredRoundsLeaveNoObjectsOrMemoryBehind() {
        constexpr int warmUp = 10;
        constexpr int rounds = 100;
        // The first rounds load plugins and fill caches that live as long as
        // the process.
        for (int i = 0; i < warmUp; ++i) {
            round(i);
            if (QTest::currentTestFailed()) {
                return;
            }
        }
        const Census before = census();
        const long residentBefore = residentKilobytes();
        for (int i = warmUp; i < rounds; ++i) {
            round(i);
            if (QTest::currentTestFailed()) {
                return;
            }
        }
        const Census after = census();
        const long residentAfter = residentKilobytes();
        qInfo(
            "Live GStreamer objects: %d after %d rounds, %d after %d; resident memory %ld kB, "
            "then %ld kB",
            total(before), warmUp, total(after), rounds, residentBefore, residentAfter);
        QVERIFY2(total(after) <= total(before), qPrintable(growth(before, after)));
        // Less than 20 kB a round: one recording's leaked bus messages, or
        // one encoder left alive, would be far more.
        QVERIFY2(residentAfter - residentBefore < 20 * (rounds - warmUp),
                 qPrintable(QStringLiteral("%1 kB more").arg(residentAfter - residentBefore)));
    }

private:
    TestEnvironment environment_;
    std::unique_ptr<Defaults> defaults_;
    GstTracer* tracer_ = nullptr;
};

QTEST_GUILESS_MAIN(tst_PipelineLifecycle)
#include "tst_PipelineLifecycle.moc"
