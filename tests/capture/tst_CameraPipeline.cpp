#include "CameraPipeline.h"
#include "Defaults.h"
#include "DemoCamera.h"
#include "DemoMicrophone.h"
#include "DetectionZones.h"
#include "FeederSource.h"
#include "FileCamera.h"
#include "PulseAudioServer.h"
#include "SettingsKeys.h"
#include "SoundLevel.h"
#include "TestEnvironment.h"
#include "TestFrames.h"

#include <sys/stat.h>
#include <unistd.h>
#include <QElapsedTimer>
#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <cerrno>
#include <cmath>

namespace {

// Keeps every measurement, from the detection queue.
class RecordingDelegate : public CameraPipelineDelegate {
public:
    void motionMeasured(CameraPipeline&, double level, bool triggered) override {
        std::lock_guard guard(mutex);
        levels.push_back(level);
        triggers += triggered;
    }
    void sessionError(CameraPipeline&, std::optional<Error> error) override {
        std::lock_guard guard(mutex);
        errors.push_back(error);
    }
    void previewImage(CameraPipeline&, const PreviewFrame&) override { ++previews; }

    int measured() {
        std::lock_guard guard(mutex);
        return static_cast<int>(levels.size());
    }
    double maximum() {
        std::lock_guard guard(mutex);
        return levels.empty() ? -1 : *std::max_element(levels.begin(), levels.end());
    }

    std::mutex mutex;
    std::vector<double> levels;
    int triggers = 0;
    std::vector<std::optional<Error>> errors;
    std::atomic<int> previews{0};
};

// 320x240 frames, then 480x270 ones: a camera changing its format.
class TwoSizeCamera : public FeederSource {
public:
    TwoSizeCamera() : FeederSource(QStringLiteral("two-size"), QStringLiteral("Two Size"), false) {}
    ~TwoSizeCamera() override {
        sessionStopping();
        sessionStopped();
    }

protected:
    GstHandle<GstCaps> caps() override { return {}; }
    GstBuffer* produce(GstAppSrc* source) override {
        if (frame_ == 60) {
            return nullptr;
        }
        const bool large = frame_ >= 30;
        auto sample = makeFrame(
            large ? 480 : 320, large ? 270 : 240,
            [this](int x, int y) { return (x + y + frame_) % 200; }, frame_ * GST_SECOND / 30);
        if (frame_ == 0 || frame_ == 30) {
            gst_app_src_set_caps(source, gst_sample_get_caps(sample.get()));
        }
        ++frame_;
        return gst_buffer_ref(gst_sample_get_buffer(sample.get()));
    }
    void rewind() override { frame_ = 0; }

private:
    int frame_ = 0;
};

// A source the test can make fail at run time.
class FailingSource : public CaptureSource {
public:
    FailingSource() : CaptureSource(QStringLiteral("failing"), QStringLiteral("Failing")) {}
    GstHandle<GstElement> makeElement() override {
        element = GstHandle<GstElement>::adopt(
            GST_ELEMENT(gst_object_ref_sink(gst_element_factory_make("videotestsrc", nullptr))));
        g_object_set(element.get(), "is-live", TRUE, nullptr);
        return element;
    }
    GstHandle<GstElement> element;
};

// A character device that exists but that this user may not open for
// reading and writing, as a camera node without the right group would be.
QString deviceThisUserCannotOpen() {
    for (const char* path : {"/dev/console", "/dev/cpu_dma_latency", "/dev/kvm", "/dev/hwrng",
                             "/dev/btrfs-control", "/dev/loop-control", "/dev/mem"}) {
        struct stat status {};
        if (::stat(path, &status) == 0 && S_ISCHR(status.st_mode) &&
            ::access(path, R_OK | W_OK) != 0 && errno == EACCES) {
            return QString::fromLatin1(path);
        }
    }
    return {};
}

std::shared_ptr<CaptureSource> launch(const QString& description, bool live = true) {
    return std::make_shared<LaunchSource>(QStringLiteral("launch"), QStringLiteral("Launch"),
                                          description, live);
}

}  // namespace

class tst_CameraPipeline : public QObject {
    Q_OBJECT

    TestEnvironment environment;
    std::unique_ptr<Defaults> defaults;
    CountingSink sink;
    std::shared_ptr<RecordingDelegate> delegate;

    std::unique_ptr<CameraPipeline> pipeline(std::shared_ptr<CaptureSource> camera,
                                             std::shared_ptr<CaptureSource> microphone = {}) {
        auto result = std::make_unique<CameraPipeline>(*defaults, sink, std::move(camera),
                                                       std::move(microphone));
        result->setDelegate(delegate);
        return result;
    }

    static DemoCamera::Options fast(long long frames, bool crossings = true) {
        DemoCamera::Options options;
        options.width = 640;
        options.height = 360;
        options.realTime = false;
        options.crossings = crossings;
        options.frameLimit = frames;
        return options;
    }

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    void init() {
        defaults = std::make_unique<Defaults>(environment.settingsFilePath());
        defaults->set(SettingsKeys::motionTriggerThreshold, 50);
        defaults->set(SettingsKeys::motionTriggerEnabled, true);
        sink.video.clear();
        sink.audio.clear();
        sink.newestFrames = 0;
        std::fill(std::begin(sink.losses), std::end(sink.losses), 0);
        delegate = std::make_shared<RecordingDelegate>();
    }

    // Ten seconds of the still demo scene with sensor noise, faster than real time.
    void aStillNoisySceneStaysBelowLevel5() {
        auto camera = std::make_shared<DemoCamera>(fast(300, false));
        auto p = pipeline(camera);
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_COMPARE_WITH_TIMEOUT(delegate->measured(), 300, 30000);
        QVERIFY2(delegate->maximum() < 5.0, qPrintable(QString::number(delegate->maximum())));
        QCOMPARE(delegate->levels.front(), 0.0);  // the first frame against itself
        QCOMPARE(delegate->triggers, 0);
        QCOMPARE(sink.newestFrames, 300);  // every frame measured, none skipped
        QTRY_COMPARE_WITH_TIMEOUT(sink.videoCount() + sink.lossCount(CaptureLoss::encoderBehind),
                                  300, 10000);
    }

    void theCrossingObjectTriggersAtTheDefaultThreshold() {
        auto p = pipeline(std::make_shared<DemoCamera>(fast(8 * 30)));
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_COMPARE_WITH_TIMEOUT(delegate->measured(), 240, 30000);
        QVERIFY(delegate->triggers > 0);
        QVERIFY(delegate->maximum() > 50.0);
    }

    void withTriggeringOffTheLevelIsReportedButNeverTriggers() {
        defaults->set(SettingsKeys::motionTriggerEnabled, false);
        auto p = pipeline(std::make_shared<DemoCamera>(fast(8 * 30)));
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_COMPARE_WITH_TIMEOUT(delegate->measured(), 240, 30000);
        QVERIFY(delegate->maximum() > 50.0);
        QCOMPARE(delegate->triggers, 0);
    }

    void zonesExcludingTheObjectKeepTheLevelAtZero() {
        auto camera = std::make_shared<DemoCamera>(fast(8 * 30));
        DetectionZones::save(camera->uniqueID(), *defaults, {QRectF(0, 0, 1, 0.2)});
        auto p = pipeline(camera);
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_COMPARE_WITH_TIMEOUT(delegate->measured(), 240, 30000);
        QCOMPARE(delegate->maximum(), 0.0);
        QCOMPARE(delegate->triggers, 0);
        DetectionZones::save(camera->uniqueID(), *defaults, {});
    }

    void aNewFrameSizeReplacesTheEncoderAndOutputKeepsFlowing() {
        auto p = pipeline(std::make_shared<TwoSizeCamera>());
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_COMPARE_WITH_TIMEOUT(delegate->measured(), 60, 20000);
        // Up to two frames in flight on the old encoder are forgotten.
        QTRY_VERIFY_WITH_TIMEOUT(
            sink.videoCount() + sink.lossCount(CaptureLoss::encoderBehind) >= 58, 10000);
        QCOMPARE(p->compressionSessionsCreated(), 2);
        std::lock_guard guard(sink.mutex);
        GstSample* last = sink.video.last().get();
        GstVideoInfo info;
        QVERIFY(gst_video_info_from_caps(&info, gst_sample_get_caps(last)));
        QCOMPARE(info.width, 480);
        GstClockTime previous = 0;
        bool sawLargeKeyframe = false;
        for (const auto& sample : sink.video) {
            GstBuffer* buffer = gst_sample_get_buffer(sample.get());
            QVERIFY(GST_BUFFER_PTS(buffer) >= previous);
            previous = GST_BUFFER_PTS(buffer);
            gst_video_info_from_caps(&info, gst_sample_get_caps(sample.get()));
            if (info.width == 480 && !sawLargeKeyframe) {
                QVERIFY(!GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT));
                sawLargeKeyframe = true;
            }
        }
        QVERIFY(sawLargeKeyframe);
        // The new size was compared with itself first: level 0, no false alarm.
        QCOMPARE(delegate->levels[30], 0.0);
    }

    void anAudioOnlyPipelineFeedsTheAudioRing() {
        auto p = pipeline(nullptr, launch("audiotestsrc is-live=true freq=1000 volume=0.5"));
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_VERIFY_WITH_TIMEOUT(sink.audioCount() > 10, 5000);
        QCOMPARE(sink.videoCount(), 0);
        QVERIFY(p->audioLevel());
        // A 1 kHz tone at -6 dBFS reads about 90 on the meter.
        QVERIFY2(std::abs(SoundLevel::meterValue(*p->audioLevel()) - 90.0) < 1.0,
                 qPrintable(QString::number(*p->audioLevel())));
    }

    void silenceReadsZero() {
        auto p = pipeline(nullptr, launch("audiotestsrc is-live=true wave=silence"));
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_VERIFY_WITH_TIMEOUT(p->audioLevel(), 5000);
        QCOMPARE(SoundLevel::meterValue(*p->audioLevel()), 0.0);
    }

    void aVideoOnlyPipelineFeedsTheVideoRing() {
        auto p =
            pipeline(launch("videotestsrc is-live=true ! capsfilter "
                            "caps=video/x-raw,width=320,height=240,framerate=30/1"));
        QVERIFY(p->configure());
        QVERIFY(!p->audioLevel());
        p->startRunning();
        QTRY_VERIFY_WITH_TIMEOUT(sink.videoCount() > 10, 5000);
        QCOMPARE(sink.audioCount(), 0);
        QVERIFY(!p->audioLevel());
    }

    void aStalledCaptureThreadCountsCaptureDropped() {
        auto p =
            pipeline(launch("videotestsrc is-live=true ! capsfilter "
                            "caps=video/x-raw,width=320,height=240,framerate=30/1"));
        sink.slowNewestFrame = 5;
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_VERIFY_WITH_TIMEOUT(sink.lossCount(CaptureLoss::captureDropped) > 0, 5000);
    }

    void thePreviewIsMadeOnlyWhenWanted() {
        auto p = pipeline(std::make_shared<DemoCamera>(fast(20, false)));
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_COMPARE_WITH_TIMEOUT(delegate->measured(), 20, 10000);
        QCOMPARE(delegate->previews.load(), 0);
        p = pipeline(std::make_shared<DemoCamera>(fast(20, false)));
        p->setWantsPreview(true);
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_VERIFY_WITH_TIMEOUT(delegate->previews.load() > 0, 10000);
    }

    void aRuntimeErrorReachesTheDelegate() {
        auto camera = std::make_shared<FailingSource>();
        auto p = pipeline(camera);
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_VERIFY_WITH_TIMEOUT(sink.videoCount() > 0, 5000);
        GST_ELEMENT_ERROR(camera->element.get(), RESOURCE, READ, ("camera unplugged"), (nullptr));
        QTRY_COMPARE_WITH_TIMEOUT(static_cast<int>(delegate->errors.size()), 1, 5000);
        QVERIFY(delegate->errors[0]);
        QCOMPARE(delegate->errors[0]->domain, Error::gstResourceDomain);
    }

    // A device the camera reports it could not open because permission was
    // denied is a refusal, whatever its own error code.
    void aPermissionErrorIsReportedAsARefusal() {
        auto camera = std::make_shared<FailingSource>();
        auto p = pipeline(camera);
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_VERIFY_WITH_TIMEOUT(sink.videoCount() > 0, 5000);
        GST_ELEMENT_ERROR(camera->element.get(), RESOURCE, OPEN_READ_WRITE,
                          ("Could not open the camera"), ("system error: %s", g_strerror(EACCES)));
        QTRY_COMPARE_WITH_TIMEOUT(static_cast<int>(delegate->errors.size()), 1, 5000);
        QVERIFY(delegate->errors[0]);
        QCOMPARE(delegate->errors[0]->code, static_cast<int>(GST_RESOURCE_ERROR_NOT_AUTHORIZED));
    }

    // A camera device this user may not open: the pipeline goes on without
    // it and tells its owner that the system refused it.
    void aCameraTheSystemWillNotOpenIsReportedAsRefused() {
        if (::geteuid() == 0) {
            QSKIP("root opens every device; the unprivileged run covers this case");
        }
        const QString device = deviceThisUserCannotOpen();
        if (device.isEmpty()) {
            QSKIP("this system has no character device this user is refused");
        }
        auto p = pipeline(launch(QStringLiteral("v4l2src device=") + device),
                          launch("audiotestsrc is-live=true"));
        QVERIFY(p->configure());
        QCOMPARE(static_cast<int>(delegate->errors.size()), 1);
        QVERIFY(delegate->errors[0]);
        QCOMPARE(delegate->errors[0]->code, static_cast<int>(GST_RESOURCE_ERROR_NOT_AUTHORIZED));
        p->startRunning();
        QTRY_VERIFY_WITH_TIMEOUT(sink.audioCount() > 5, 5000);
        QCOMPARE(sink.videoCount(), 0);
    }

    void anUnusableCameraFallsBackToAudioOnly() {
        auto p = pipeline(launch("v4l2src device=/dev/nelvo-no-such-camera"),
                          launch("audiotestsrc is-live=true"));
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_VERIFY_WITH_TIMEOUT(sink.audioCount() > 5, 5000);
        QCOMPARE(sink.videoCount(), 0);
    }

    void invalidatingCompressionMakesANewEncoder() {
        auto p =
            pipeline(launch("videotestsrc is-live=true ! capsfilter "
                            "caps=video/x-raw,width=320,height=240,framerate=30/1"));
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_VERIFY_WITH_TIMEOUT(sink.videoCount() > 5, 5000);
        p->invalidateCompression();
        QTRY_COMPARE_WITH_TIMEOUT(p->compressionSessionsCreated(), 2, 5000);
    }

    void aFileCameraLoops() {
        QTemporaryDir dir;
        const QString file = dir.filePath("clip.mp4");
        QCOMPARE(QProcess::execute("gst-launch-1.0",
                                   {"-q", "videotestsrc", "num-buffers=15", "!",
                                    "video/x-raw,width=160,height=120,framerate=30/1", "!",
                                    "x264enc", "!", "mp4mux", "!", "filesink", "location=" + file}),
                 0);
        auto p = pipeline(std::make_shared<FileCamera>(file, false));
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_VERIFY_WITH_TIMEOUT(delegate->measured() >= 45, 10000);  // three times through
        p->stopRunning();
        std::lock_guard guard(sink.mutex);
        GstClockTime previous = 0;
        for (const auto& sample : sink.video) {
            const GstClockTime pts = GST_BUFFER_PTS(gst_sample_get_buffer(sample.get()));
            QVERIFY(pts >= previous);
            previous = pts;
        }
        QVERIFY(previous >= GST_SECOND);
    }

    // Paced like a camera: once running, frames arrive 30 times a second of
    // wall time, neither as fast as they can be drawn nor much slower. The
    // rate is taken over 3 s after the first frame, so start-up does not count,
    // and frames the pipeline could not take in time (captureDropped) still
    // count as arrived. The frames are small so that drawing them keeps up in
    // a sanitizer build on a busy machine: the pace, not the drawing speed, is
    // what is measured here (the benchmarks measure 720p at full cost).
    void theDemoCameraAndMicrophoneRunInRealTime() {
        DemoCamera::Options options;
        options.width = 320;
        options.height = 180;
        QVERIFY(options.realTime);
        QCOMPARE(options.framesPerSecond, 30);
        auto p =
            pipeline(std::make_shared<DemoCamera>(options), std::make_shared<DemoMicrophone>());
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_VERIFY_WITH_TIMEOUT(sink.newestFrameCount() > 0, 10000);
        const auto arrived = [this] {
            return sink.newestFrameCount() + sink.lossCount(CaptureLoss::captureDropped);
        };
        QElapsedTimer window;
        window.start();
        const int before = arrived();
        QTest::qWait(3000);
        const double rate = (arrived() - before) * 1000.0 / window.elapsed();
        QVERIFY2(rate > 25 && rate < 35, qPrintable(QString::number(rate)));
        QVERIFY(delegate->measured() > 0);
        QVERIFY(p->audioLevel());
        const double meter = SoundLevel::meterValue(*p->audioLevel());
        QVERIFY2(meter > 5 && meter < 30, qPrintable(QString::number(meter)));  // quiet noise
        QVERIFY(DemoMicrophone::toneAt(10.5) && !DemoMicrophone::toneAt(11.5));
        QVERIFY(DemoCamera::crossingAt(25.0) && !DemoCamera::crossingAt(9.0));
    }

    // A real sound server: a null sink whose monitor is the microphone.
    void aPulseAudioMicrophoneReadsWhatIsPlayed() {
        if (!PulseAudioServer::isInstalled()) {
            QSKIP("pulseaudio is not installed");
        }
        PulseAudioServer server;
        QVERIFY2(server.isRunning(), qPrintable(server.problem()));
        QVERIFY(server.loadNullSink("nelvo_null", "Nelvo Null"));
        const QString address = server.address();

        auto p =
            pipeline(nullptr, launch("pulsesrc server=" + address + " device=nelvo_null.monitor"));
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_VERIFY_WITH_TIMEOUT(sink.audioCount() > 5, 10000);
        QTRY_COMPARE_WITH_TIMEOUT(SoundLevel::meterValue(p->audioLevel().value_or(-1000)), 0.0,
                                  5000);

        QProcess player;
        player.setProcessEnvironment(server.clientEnvironment());
        player.start("pacat", {"--server=" + address, "--device=nelvo_null", "--raw",
                               "--format=s16le", "--rate=48000", "--channels=1"});
        QVERIFY(player.waitForStarted());
        QByteArray tone(48000 * 2 * 3, 0);
        auto* samples = reinterpret_cast<qint16*>(tone.data());
        for (int i = 0; i < 48000 * 3; ++i) {
            samples[i] = static_cast<qint16>(16384 * std::sin(2 * M_PI * 1000 * i / 48000.0));
        }
        player.write(tone);
        QTRY_VERIFY_WITH_TIMEOUT(
            std::abs(SoundLevel::meterValue(p->audioLevel().value_or(-1000)) - 90.0) < 2.0, 5000);
        player.closeWriteChannel();
        player.waitForFinished(10000);
        p.reset();
    }
};

QTEST_GUILESS_MAIN(tst_CameraPipeline)
#include "tst_CameraPipeline.moc"
