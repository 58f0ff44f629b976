// A network camera in a capture pipeline: the camera's own H.264 reaches the
// recorder untouched while its decoded pictures are measured; an MJPEG
// camera is decoded and encoded like a local camera.
#include "CameraPipeline.h"
#include "Defaults.h"
#include "MjpegServer.h"
#include "NetworkCameraFacts.h"
#include "NetworkCameraSource.h"
#include "SettingsKeys.h"
#include "StdoutCapture.h"
#include "TestEnvironment.h"
#include "TestFrames.h"

#include <gst/video/video.h>
#include <QElapsedTimer>
#include <QProcess>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>

namespace {

class CountingDelegate : public CameraPipelineDelegate {
public:
    void motionMeasured(CameraPipeline&, double, bool) override { ++measured; }
    void sessionError(CameraPipeline&, std::optional<Error>) override { ++errors; }
    void previewImage(CameraPipeline&, const PreviewFrame&) override {}
    std::atomic<int> measured{0};
    std::atomic<int> errors{0};
};

QString mediaType(const GstHandle<GstSample>& sample) {
    return QString::fromUtf8(
        gst_structure_get_name(gst_caps_get_structure(gst_sample_get_caps(sample.get()), 0)));
}

}  // namespace

class tst_NetworkCameraSource : public QObject {
    Q_OBJECT

    TestEnvironment environment;
    std::unique_ptr<Defaults> defaults;
    CountingSink sink;
    std::shared_ptr<CountingDelegate> delegate;
    NetworkCameraFacts facts;

    std::shared_ptr<NetworkCameraSource> camera(const QString& url,
                                                NetworkCredentials credentials = {}) {
        return std::make_shared<NetworkCameraSource>(*NetworkCameraUrl::parse(url),
                                                     std::move(credentials), &facts);
    }

    std::unique_ptr<CameraPipeline> pipeline(std::shared_ptr<CaptureSource> source) {
        auto result = std::make_unique<CameraPipeline>(*defaults, sink, std::move(source), nullptr);
        result->setDelegate(delegate);
        return result;
    }

    // Measurements per second over `seconds`, once pictures arrive; 0 when
    // none arrive within 20 s.
    double measuredPerSecond(int seconds) {
        QElapsedTimer waited;
        waited.start();
        while (delegate->measured == 0) {
            if (waited.elapsed() > 20000) {
                return 0;
            }
            QTest::qWait(50);
        }
        const int before = delegate->measured;
        QElapsedTimer timer;
        timer.start();
        QTest::qWait(seconds * 1000);
        return (delegate->measured - before) * 1000.0 / timer.elapsed();
    }

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    void init() {
        defaults = std::make_unique<Defaults>(environment.settingsFilePath());
        defaults->set(SettingsKeys::motionTriggerEnabled, true);
        sink.video.clear();
        sink.newestFrames = 0;
        std::fill(std::begin(sink.losses), std::end(sink.losses), 0);
        delegate = std::make_shared<CountingDelegate>();
    }

    // 1280x720 at 30 fps: the recorder gets the camera's own access units,
    // in order and with keyframes marked; nothing is encoded; the motion
    // measure sees decoded pictures at 10 a second or more.
    void anRtspCamerasOwnH264GoesToTheRecorder() {
        QProcess server;
        server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        server.start(QStringLiteral(NELVO_RTSP_SERVER), {"--key-int", "30"});
        QVERIFY(server.waitForStarted() && server.waitForReadyRead(20000));
        const int port = QString::fromUtf8(server.readLine()).trimmed().section(u' ', 2).toInt();
        QVERIFY(port > 0);

        const auto source = camera(QStringLiteral("rtsp://127.0.0.1:%1/cam").arg(port));
        auto p = pipeline(source);
        QVERIFY(p->configure());
        p->startRunning();
        const double rate = measuredPerSecond(5);
        qInfo("RTSP H.264 1280x720 30 fps: %.1f measurements a second", rate);
        // Its keyframes, every 30 frames, are 1 s apart, as Settings is told.
        const std::optional<double> spacing = facts.keyframeSpacing(source->uniqueID());
        QVERIFY(spacing);
        QVERIFY2(std::abs(*spacing - 1.0) < 0.1, qPrintable(QString::number(*spacing)));
        QVERIFY2(rate >= 10.0, qPrintable(QString::number(rate)));
        p->stopRunning();
        server.kill();
        server.waitForFinished();

        QCOMPARE(p->compressionSessionsCreated(), 0);
        QVERIFY(sink.videoCount() >= 100);
        int keyframes = 0;
        GstClockTime previous = 0;
        for (const GstHandle<GstSample>& sample : std::as_const(sink.video)) {
            QCOMPARE(mediaType(sample), QStringLiteral("video/x-h264"));
            const GstStructure* format =
                gst_caps_get_structure(gst_sample_get_caps(sample.get()), 0);
            QCOMPARE(gst_structure_get_string(format, "stream-format"), "avc");
            GstBuffer* buffer = gst_sample_get_buffer(sample.get());
            QVERIFY(GST_BUFFER_PTS(buffer) > previous);
            previous = GST_BUFFER_PTS(buffer);
            keyframes += GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DELTA_UNIT) ? 0 : 1;
        }
        // A keyframe every 30 frames.
        QVERIFY2(std::abs(sink.videoCount() / 30.0 - keyframes) <= 2,
                 qPrintable(QStringLiteral("%1 of %2").arg(keyframes).arg(sink.videoCount())));
        GstVideoInfo info;
        QVERIFY(gst_video_info_from_caps(&info, gst_sample_get_caps(sink.newest.get())));
        QCOMPARE(info.width, 1280);
        QCOMPARE(info.height, 720);
        QCOMPARE(sink.lossCount(CaptureLoss::captureDropped), 0);
    }

    // H.265 goes to the recorder as it came too.
    void anRtspCamerasOwnH265GoesToTheRecorder() {
        QProcess server;
        server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        server.start(QStringLiteral(NELVO_RTSP_SERVER),
                     {"--codec", "h265", "--size", "640x360", "--fps", "15"});
        QVERIFY(server.waitForStarted() && server.waitForReadyRead(20000));
        const int port = QString::fromUtf8(server.readLine()).trimmed().section(u' ', 2).toInt();
        QVERIFY(port > 0);
        auto p = pipeline(camera(QStringLiteral("rtsp://127.0.0.1:%1/cam").arg(port)));
        QVERIFY(p->configure());
        p->startRunning();
        QVERIFY(measuredPerSecond(3) >= 5.0);
        p->stopRunning();
        server.kill();
        server.waitForFinished();
        QCOMPARE(p->compressionSessionsCreated(), 0);
        QVERIFY(sink.videoCount() >= 15);
        int keyframes = 0;
        for (const GstHandle<GstSample>& sample : std::as_const(sink.video)) {
            QCOMPARE(mediaType(sample), QStringLiteral("video/x-h265"));
            const GstStructure* format =
                gst_caps_get_structure(gst_sample_get_caps(sample.get()), 0);
            QCOMPARE(gst_structure_get_string(format, "stream-format"), "hvc1");
            keyframes += GST_BUFFER_FLAG_IS_SET(gst_sample_get_buffer(sample.get()),
                                                GST_BUFFER_FLAG_DELTA_UNIT)
                             ? 0
                             : 1;
        }
        QVERIFY(keyframes >= 1);
    }

    // Packets lost on the way are frames lost to the recording.
    void lostPacketsAreLostFrames() {
        QProcess server;
        server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        server.start(QStringLiteral(NELVO_RTSP_SERVER),
                     {"--protocols", "udp", "--loss", "5", "--size", "640x360"});
        QVERIFY(server.waitForStarted() && server.waitForReadyRead(20000));
        const int port = QString::fromUtf8(server.readLine()).trimmed().section(u' ', 2).toInt();
        QVERIFY(port > 0);
        auto p = pipeline(camera(QStringLiteral("rtsp://127.0.0.1:%1/cam").arg(port)));
        QVERIFY(p->configure());
        p->startRunning();
        const double rate = measuredPerSecond(5);
        QVERIFY2(rate >= 10.0, qPrintable(QString::number(rate)));
        p->stopRunning();
        server.kill();
        server.waitForFinished();
        const int lost = sink.lossCount(CaptureLoss::captureDropped);
        qInfo("%d frames received, %d with packets lost", sink.videoCount(), lost);
        QVERIFY(lost > 0);
    }

    // An MJPEG camera's pictures are encoded to H.264 like a local camera's.
    void anMjpegCameraIsEncodedLikeALocalCamera() {
        MjpegServer server(15, "door", "Kq2pass");
        auto p = pipeline(camera(QStringLiteral("http://127.0.0.1:%1/video").arg(server.port()),
                                 {QStringLiteral("door"), QStringLiteral("Kq2pass")}));
        QVERIFY(p->configure());
        p->startRunning();
        const double rate = measuredPerSecond(4);
        qInfo("MJPEG 640x360 15 fps: %.1f measurements a second", rate);
        QVERIFY2(rate >= 10.0, qPrintable(QString::number(rate)));
        QTRY_VERIFY_WITH_TIMEOUT(sink.videoCount() >= 30, 10000);
        p->stopRunning();
        QCOMPARE(p->compressionSessionsCreated(), 1);
        for (const GstHandle<GstSample>& sample : std::as_const(sink.video)) {
            QCOMPARE(mediaType(sample), QStringLiteral("video/x-h264"));
        }
        GstVideoInfo info;
        QVERIFY(gst_video_info_from_caps(&info, gst_sample_get_caps(sink.newest.get())));
        QCOMPARE(info.width, 640);
        QCOMPARE(info.height, 360);
    }

    // A server that accepts the connection and then says nothing is a
    // camera that sent no pictures, tried again later.
    void aServerThatSaysNothingIsACameraWithoutPictures() {
        QTcpServer silent;
        QVERIFY(silent.listen(QHostAddress::LocalHost));
        QList<QTcpSocket*> accepted;
        connect(&silent, &QTcpServer::newConnection, this, [&] {
            while (QTcpSocket* socket = silent.nextPendingConnection()) {
                accepted.append(socket);
            }
        });
        StdoutCapture log;
        auto p =
            pipeline(camera(QStringLiteral("rtsp://127.0.0.1:%1/cam").arg(silent.serverPort())));
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_VERIFY_WITH_TIMEOUT(log.text().contains(QStringLiteral("Trying again")), 30000);
        p->stopRunning();
        const QString text = log.take();
        QVERIFY2(text.contains(QStringLiteral("127.0.0.1:%1: The camera sent no pictures. Trying "
                                              "again in 1 s.")
                                   .arg(silent.serverPort())),
                 qPrintable(text));
        QVERIFY(!accepted.isEmpty());
        QCOMPARE(delegate->errors.load(), 0);
    }

    // A wrong password is said in plain words, and never shown.
    void anMjpegCameraThatRefusesThePasswordSaysSo() {
        MjpegServer server(15, "door", "Kq2pass");
        StdoutCapture log;
        auto source = camera(QStringLiteral("http://127.0.0.1:%1/video").arg(server.port()),
                             {QStringLiteral("door"), QStringLiteral("Wr0ngPw")});
        auto p = pipeline(source);
        QVERIFY(p->configure());
        p->startRunning();
        QTRY_VERIFY_WITH_TIMEOUT(log.text().contains(QStringLiteral("Trying again")), 20000);
        p->stopRunning();
        const QString text = log.take();
        QVERIFY2(text.contains(QStringLiteral("127.0.0.1:%1: The camera refused the user name or "
                                              "password. Trying again in 1 s.")
                                   .arg(server.port())),
                 qPrintable(text));
        QVERIFY(!text.contains(QStringLiteral("Wr0ngPw")));
        QCOMPARE(delegate->measured.load(), 0);
        QCOMPARE(delegate->errors.load(), 0);
    }
};

QTEST_GUILESS_MAIN(tst_NetworkCameraSource)
#include "tst_NetworkCameraSource.moc"
