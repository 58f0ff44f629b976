// Armed CPU for one 1920x1080 30 fps H.264 RTSP camera at 4 Mbit/s served on
// this machine: the real `nelvo --headless --camera-url --arm`, beside a bare
// receive-and-decode of the same stream (rtspsrc ! depay ! parse ! avdec_h264
// ! fakesink) running at the same time, so that both meet the same load.
// Both are separate processes, read from /proc, so the camera's own encoder
// is in neither figure. Then Nelvo armed on a local 1080p30 camera whose
// frames it must encode: the same stream saved to a file and played by
// `--camera-file` (which decodes it, as the bare decode does, before
// encoding). Then the memory the 30 s pre-roll ring takes for the network
// camera: Nelvo's resident size with "preRollSeconds" at 30 against the
// same at 0, 40 s after arming.
#include "TestEnvironment.h"

#include <unistd.h>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <cstdio>

namespace {

constexpr int measureSeconds = 30;
// Armed 15 s after launch; then a few seconds to settle.
constexpr int armedAfterMs = 22000;

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

// Per cent of one core each running process uses over the same stretch.
std::vector<double> cpuPercents(const std::vector<QProcess*>& processes) {
    std::vector<double> before;
    for (QProcess* process : processes) {
        before.push_back(cpuSecondsOf(process->processId()));
    }
    QElapsedTimer timer;
    timer.start();
    QTest::qWait(measureSeconds * 1000);
    const double seconds = timer.elapsed() / 1000.0;
    std::vector<double> percents;
    for (std::size_t i = 0; i < processes.size(); ++i) {
        percents.push_back(100.0 * (cpuSecondsOf(processes[i]->processId()) - before[i]) / seconds);
    }
    return percents;
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

// Armed and measuring, but never triggered, so that no recording adds to
// the figures (and not a first launch, which would set its own values).
void writeSettings(const TestEnvironment& environment, int preRollSeconds) {
    QDir().mkpath(QFileInfo(environment.settingsFilePath()).path());
    QFile settings(environment.settingsFilePath());
    if (settings.open(QIODevice::WriteOnly)) {
        settings.write(QStringLiteral("[General]\nvalidateFirstlaunch=false\npreRollSeconds=%1\n"
                                      "motionTriggerThreshold=1000000\n")
                           .arg(preRollSeconds)
                           .toUtf8());
    }
}

void startNelvo(QProcess& nelvo, const QStringList& camera) {
    nelvo.setProcessChannelMode(QProcess::MergedChannels);
    nelvo.start(QStringLiteral(NELVO_EXECUTABLE), QStringList{"--headless", "--arm"} + camera);
}

void stop(QProcess& process) {
    process.terminate();
    if (!process.waitForFinished(25000)) {
        process.kill();
        process.waitForFinished();
    }
}

// Nelvo's resident size after watching the camera for a while with this pre-roll.
double residentWithPreRoll(const TestEnvironment& environment, const QString& url, int seconds) {
    writeSettings(environment, seconds);
    QProcess nelvo;
    startNelvo(nelvo, {"--camera-url", url});
    QTest::qWait(15000 + 40000);
    const double resident = residentMegabytes(nelvo.processId());
    stop(nelvo);
    return resident;
}

// Ten seconds of the camera's stream, as it sent it, in a movie file.
bool saveStream(const QString& url, const QString& path) {
    QProcess save;
    save.start(QStringLiteral("gst-launch-1.0"),
               {"-q", "-e", "rtspsrc", "location=" + url, "latency=200", "!", "rtph264depay", "!",
                "h264parse", "!", "mp4mux", "!", "filesink", "location=" + path});
    QTest::qWait(12000);
    ::kill(static_cast<pid_t>(save.processId()), SIGINT);
    save.waitForFinished(20000);
    return QFileInfo(path).size() > 1'000'000;
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

    writeSettings(environment, 5);
    QProcess nelvo;
    startNelvo(nelvo, {"--camera-url", url});
    QTest::qWait(armedAfterMs - 3000);
    QProcess bare;
    bare.start(QStringLiteral("gst-launch-1.0"),
               {"-q", "rtspsrc", "location=" + url, "latency=200", "!", "rtph264depay", "!",
                "h264parse", "!", "avdec_h264", "!", "fakesink", "sync=false"});
    QTest::qWait(3000);
    const std::vector<double> network = cpuPercents({&nelvo, &bare});
    stop(bare);
    stop(nelvo);
    const QString log = QString::fromUtf8(nelvo.readAll());
    if (!log.contains(QStringLiteral("connected: H.264 1920x1080"))) {
        std::fprintf(stderr, "Nelvo did not watch the camera:\n%s\n", qPrintable(log));
        return 1;
    }

    QTemporaryDir files;
    const QString movie = files.filePath(QStringLiteral("camera.mp4"));
    if (!saveStream(url, movie)) {
        std::fprintf(stderr, "the camera's stream could not be saved\n");
        return 1;
    }
    QProcess local;
    startNelvo(local, {"--camera-file", movie});
    QTest::qWait(armedAfterMs);
    const double localArmed = cpuPercents({&local}).front();
    stop(local);

    const double withoutRing = residentWithPreRoll(environment, url, 0);
    const double withRing = residentWithPreRoll(environment, url, 30);
    server.kill();
    server.waitForFinished();

    std::printf("networkCameraArmedCpu1080p30: %.1f %%\n", network[0]);
    std::printf("networkCameraBareDecodeCpu1080p30: %.1f %%\n", network[1]);
    std::printf("networkCameraArmedOverBareDecode: %.2f x\n", network[0] / network[1]);
    std::printf("localCameraArmedCpu1080p30: %.1f %%\n", localArmed);
    std::printf("networkCameraArmedOverLocalCamera: %.2f x\n", network[0] / localArmed);
    std::printf("networkCameraPreRollRing30s1080p: %.1f MB\n", withRing - withoutRing);
    return 0;
}
