// Armed CPU for one 1920x1080 30 fps H.264 RTSP camera at 4 Mbit/s served on
// this machine: the real `nelvo --headless --camera-url --arm`, beside a bare
// receive-and-decode of the same stream (rtspsrc ! depay ! parse ! avdec_h264
// ! fakesink) measured in the same run. Both are separate processes, read
// from /proc, so the camera's own encoder is in neither figure. Then the
// memory the 30 s pre-roll ring takes for that camera: Nelvo's resident size
// with "preRollSeconds" at 30 against the same at 0, 40 s after arming.
#include "TestEnvironment.h"

#include <unistd.h>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTest>
#include <cstdio>

namespace {

constexpr int measureSeconds = 30;

// User and system CPU seconds a process has used so far.
double cpuSecondsOf(qint64 pid) {
    QFile stat(QStringLiteral("/proc/%1/stat").arg(pid));
    if (!stat.open(QIODevice::ReadOnly)) {
        return -1;
    }
    const QByteArray text = stat.readAll();
    // Fields after the command name, which ends with the last ')'.
    const QList<QByteArray> fields = text.mid(text.lastIndexOf(')') + 2).split(' ');
    const double ticks = fields.value(11).toDouble() + fields.value(12).toDouble();
    return ticks / static_cast<double>(sysconf(_SC_CLK_TCK));
}

// Per cent of one core a running process uses over the measuring time.
double cpuPercent(QProcess& process) {
    const double before = cpuSecondsOf(process.processId());
    QElapsedTimer timer;
    timer.start();
    QTest::qWait(measureSeconds * 1000);
    const double used = cpuSecondsOf(process.processId()) - before;
    return 100.0 * used / (timer.elapsed() / 1000.0);
}

// The resident size of a process, in MB.
double residentMegabytes(qint64 pid) {
    QFile status(QStringLiteral("/proc/%1/status").arg(pid));
    if (!status.open(QIODevice::ReadOnly)) {
        return -1;
    }
    for (const QByteArray& line : status.readAll().split('\n')) {
        if (line.startsWith("VmRSS:")) {
            return line.mid(6).trimmed().split(' ').value(0).toDouble() / 1024.0;
        }
    }
    return -1;
}

// Nelvo's resident size after watching the camera for a while with this pre-roll.
double residentWithPreRoll(const TestEnvironment& environment, const QString& url, int seconds) {
    QDir().mkpath(QFileInfo(environment.settingsFilePath()).path());
    QFile settings(environment.settingsFilePath());
    if (settings.open(QIODevice::WriteOnly)) {
        settings.write(
            QStringLiteral("[General]\npreRollSeconds=%1\nmotionTriggerThreshold=1000000\n")
                .arg(seconds)
                .toUtf8());
        settings.close();
    }
    QProcess nelvo;
    nelvo.start(QStringLiteral(NELVO_EXECUTABLE), {"--headless", "--camera-url", url, "--arm"});
    QTest::qWait(15000 + 40000);
    const double resident = residentMegabytes(nelvo.processId());
    nelvo.terminate();
    nelvo.waitForFinished(25000);
    return resident;
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    TestEnvironment environment;
    QProcess server;
    server.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    server.start(QStringLiteral(NELVO_RTSP_SERVER), {"--size", "1920x1080", "--bitrate", "4000",
                                                     "--key-int", "30", "--scene", "snow"});
    if (!server.waitForStarted() || !server.waitForReadyRead(20000)) {
        std::fprintf(stderr, "the RTSP camera did not start\n");
        return 1;
    }
    const int port = QString::fromUtf8(server.readLine()).trimmed().section(u' ', 2).toInt();
    const QString url = QStringLiteral("rtsp://127.0.0.1:%1/cam").arg(port);

    QProcess nelvo;
    nelvo.setProcessChannelMode(QProcess::MergedChannels);
    nelvo.start(QStringLiteral(NELVO_EXECUTABLE), {"--headless", "--camera-url", url, "--arm"});
    // Armed 15 s after launch; then a few seconds to settle.
    QTest::qWait(22000);
    const double armed = cpuPercent(nelvo);
    const QString log = QString::fromUtf8(nelvo.readAll());
    nelvo.terminate();
    nelvo.waitForFinished(25000);
    if (!log.contains(QStringLiteral("connected: H.264 1920x1080"))) {
        std::fprintf(stderr, "Nelvo did not watch the camera:\n%s\n", qPrintable(log));
        return 1;
    }

    QProcess bare;
    bare.start(QStringLiteral("gst-launch-1.0"),
               {"-q", "rtspsrc", "location=" + url, "latency=200", "!", "rtph264depay", "!",
                "h264parse", "!", "avdec_h264", "!", "fakesink", "sync=false"});
    QTest::qWait(3000);
    const double decode = cpuPercent(bare);
    bare.kill();
    bare.waitForFinished();
    const double withoutRing = residentWithPreRoll(environment, url, 0);
    const double withRing = residentWithPreRoll(environment, url, 30);
    server.kill();
    server.waitForFinished();

    std::printf("networkCameraArmedCpu1080p30: %.1f %%\n", armed);
    std::printf("networkCameraBareDecodeCpu1080p30: %.1f %%\n", decode);
    std::printf("networkCameraArmedOverBareDecode: %.2f x\n", armed / decode);
    std::printf("networkCameraPreRollRing30s1080p: %.1f MB\n", withRing - withoutRing);
    return 0;
}
