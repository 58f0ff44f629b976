// Trying a network camera before it is saved: against the real test RTSP
// and MJPEG servers, the probe tells the first picture, size, frame rate and
// codec, or why the camera cannot be watched in the words the user sees.
#include "MjpegServer.h"
#include "NetworkCameraProbe.h"
#include "RtspTestCamera.h"
#include "TestEnvironment.h"

#include <QTcpServer>
#include <QTcpSocket>
#include <QTest>
#include <mutex>

namespace {

// Runs a probe and waits (serving the event loop, where the MJPEG server
// runs) for its one answer.
class ProbeRun {
public:
    ProbeRun(const QString& url, NetworkCredentials credentials = {}) {
        probe_ = std::make_unique<NetworkCameraProbe>(
            *NetworkCameraUrl::parse(url), std::move(credentials),
            [this](const NetworkCameraProbe::Result& result) {
                const std::lock_guard lock(mutex_);
                result_ = result;
                ++answers_;
            });
        probe_->start();
    }

    // The answer, once it came within the probe's own patience and a margin.
    std::optional<NetworkCameraProbe::Result> result() {
        const bool answered = QTest::qWaitFor(
            [this] {
                const std::lock_guard lock(mutex_);
                return answers_ > 0;
            },
            int(std::chrono::milliseconds(NetworkCameraProbe::patience).count()) + 15000);
        probe_.reset();
        const std::lock_guard lock(mutex_);
        if (!answered || answers_ != 1) {
            return std::nullopt;
        }
        return result_;
    }

private:
    std::unique_ptr<NetworkCameraProbe> probe_;
    std::mutex mutex_;
    NetworkCameraProbe::Result result_;
    int answers_ = 0;
};

// An HTTP server that answers every request with a web page, not a stream.
class WebPageServer : public QObject {
public:
    WebPageServer() {
        server_.listen(QHostAddress::LocalHost);
        connect(&server_, &QTcpServer::newConnection, this, [this] {
            while (QTcpSocket* socket = server_.nextPendingConnection()) {
                connect(socket, &QTcpSocket::readyRead, socket, [socket] {
                    socket->readAll();
                    socket->write(
                        "HTTP/1.0 200 OK\r\nContent-Type: text/html\r\nContent-Length: 44\r\n\r\n"
                        "<html><body>A camera's web page</body></html>");
                    socket->disconnectFromHost();
                });
            }
        });
    }
    int port() const { return server_.serverPort(); }

private:
    QTcpServer server_;
};

}  // namespace

class tst_NetworkCameraProbe : public QObject {
    Q_OBJECT

    TestEnvironment environment;

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    void anRtspCameraShowsItsPictureSizeRateAndCodec() {
        RtspTestCamera camera(environment.home(), {"--size", "1280x720", "--fps", "30"});
        QVERIFY(camera.port() > 0);
        const auto result = ProbeRun(camera.url()).result();
        QVERIFY(result);
        QVERIFY2(result->problem.isEmpty(), qPrintable(result->problem));
        QCOMPARE(result->codec, QStringLiteral("H.264"));
        QCOMPARE(result->size, QSize(1280, 720));
        QCOMPARE(result->picture.size(), QSize(1280, 720));
        QVERIFY2(std::abs(result->framesPerSecond - 30) < 1.5,
                 qPrintable(QString::number(result->framesPerSecond)));
        // The test picture is colour bars, not a blank frame.
        QVERIFY(result->picture.pixelColor(10, 10) != result->picture.pixelColor(1270, 10));
    }

    void anH265CameraWithAPasswordIsTriedWithIt() {
        RtspTestCamera camera(environment.home(), {"--codec", "h265", "--size", "640x360", "--fps",
                                                   "15", "--auth", "digest"});
        QVERIFY(camera.port() > 0);
        const auto result =
            ProbeRun(camera.url(), {QStringLiteral("garden"), RtspTestCamera::password()}).result();
        QVERIFY(result);
        QVERIFY2(result->problem.isEmpty(), qPrintable(result->problem));
        QCOMPARE(result->codec, QStringLiteral("H.265"));
        QCOMPARE(result->size, QSize(640, 360));
        QVERIFY2(std::abs(result->framesPerSecond - 15) < 1,
                 qPrintable(QString::number(result->framesPerSecond)));
    }

    void aWrongPasswordIsRefused() {
        RtspTestCamera camera(environment.home(), {"--auth", "digest"});
        QVERIFY(camera.port() > 0);
        const auto result =
            ProbeRun(camera.url(), {QStringLiteral("garden"), QStringLiteral("wrong")}).result();
        QVERIFY(result);
        QCOMPARE(result->problem, QStringLiteral("The camera refused the user name or password."));
        QVERIFY(result->picture.isNull());
    }

    void aPortThatRefusesAnswersNothing() {
        QTcpServer closed;
        QVERIFY(closed.listen(QHostAddress::LocalHost));
        const int port = closed.serverPort();
        closed.close();
        for (const QString& url : {QStringLiteral("rtsp://127.0.0.1:%1/cam"),
                                   QStringLiteral("http://127.0.0.1:%1/video.mjpg")}) {
            const auto result = ProbeRun(url.arg(port)).result();
            QVERIFY(result);
            QCOMPARE(result->problem, QStringLiteral("Nothing answered at that address."));
        }
    }

    void aWebPageIsNotAStream() {
        WebPageServer server;
        const auto result =
            ProbeRun(QStringLiteral("http://127.0.0.1:%1/").arg(server.port())).result();
        QVERIFY(result);
        QCOMPARE(result->problem, QStringLiteral("The stream is not H.264, H.265 or MJPEG."));
    }

    void anMjpegCameraShowsItsPicture() {
        MjpegServer server(15, "door", "Kq2pass");
        const auto result =
            ProbeRun(QStringLiteral("http://127.0.0.1:%1/video.mjpg").arg(server.port()),
                     {QStringLiteral("door"), QStringLiteral("Kq2pass")})
                .result();
        QVERIFY(result);
        QVERIFY2(result->problem.isEmpty(), qPrintable(result->problem));
        QCOMPARE(result->codec, QStringLiteral("MJPEG"));
        QCOMPARE(result->size, QSize(640, 360));
        QVERIFY2(std::abs(result->framesPerSecond - 15) < 3,
                 qPrintable(QString::number(result->framesPerSecond)));
    }
};

QTEST_GUILESS_MAIN(tst_NetworkCameraProbe)
#include "tst_NetworkCameraProbe.moc"
