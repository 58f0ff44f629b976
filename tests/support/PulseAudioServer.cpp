#include "PulseAudioServer.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QStandardPaths>
#include <QThread>

namespace {

QString socketPath(const QTemporaryDir& runtime) {
    return runtime.path() + QStringLiteral("/native");
}

}  // namespace

PulseAudioServer::PulseAudioServer() {
    if (!isInstalled()) {
        problem_ = QStringLiteral("pulseaudio is not installed");
        return;
    }
    start();
}

// The server lost as a crash loses it, with no chance to tell its clients.
void PulseAudioServer::kill() {
    server_.kill();
    server_.waitForFinished(5000);
    running_ = false;
    QFile::remove(socketPath(runtime_));
}

// A new server in the same runtime folder, at the same address; its modules
// are loaded afresh.
bool PulseAudioServer::restart() {
    kill();
    start();
    return running_;
}

void PulseAudioServer::start() {
    problem_.clear();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("XDG_RUNTIME_DIR"), runtime_.path());
    environment.insert(QStringLiteral("PULSE_RUNTIME_PATH"), runtime_.path() + "/pulse");
    environment.insert(QStringLiteral("PULSE_STATE_PATH"), runtime_.path() + "/state");
    environment.insert(QStringLiteral("HOME"), runtime_.path());
    environment.remove(QStringLiteral("PULSE_SERVER"));
    server_.setProcessEnvironment(environment);
    server_.setProcessChannelMode(QProcess::MergedChannels);
    // -n: none of the system's default modules, so only what the test loads exists.
    server_.start(QStringLiteral("pulseaudio"),
                  {QStringLiteral("--daemonize=no"), QStringLiteral("--exit-idle-time=-1"),
                   QStringLiteral("--use-pid-file=no"), QStringLiteral("-n"),
                   QStringLiteral("--load=module-native-protocol-unix auth-anonymous=1 socket=") +
                       socketPath(runtime_)});
    if (!server_.waitForStarted(5000)) {
        problem_ = QStringLiteral("pulseaudio did not start: ") + server_.errorString();
        return;
    }
    QDeadlineTimer deadline(15000);
    while (!deadline.hasExpired() && server_.state() == QProcess::Running) {
        if (QFile::exists(socketPath(runtime_)) && pactl({QStringLiteral("info")})) {
            running_ = true;
            return;
        }
        QThread::msleep(50);
    }
    problem_ =
        QStringLiteral("pulseaudio did not answer: ") + QString::fromLocal8Bit(server_.readAll());
}

PulseAudioServer::~PulseAudioServer() {
    if (server_.state() == QProcess::NotRunning) {
        return;
    }
    server_.terminate();
    if (!server_.waitForFinished(5000)) {
        server_.kill();
        server_.waitForFinished(2000);
    }
}

bool PulseAudioServer::isInstalled() {
    return !QStandardPaths::findExecutable(QStringLiteral("pulseaudio")).isEmpty() &&
           !QStandardPaths::findExecutable(QStringLiteral("pactl")).isEmpty();
}

QString PulseAudioServer::address() const {
    return QStringLiteral("unix:") + socketPath(runtime_);
}

QProcessEnvironment PulseAudioServer::clientEnvironment() const {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("PULSE_SERVER"), address());
    environment.insert(QStringLiteral("HOME"), runtime_.path());
    return environment;
}

void PulseAudioServer::becomeDefaultForThisProcess() const {
    qputenv("PULSE_SERVER", address().toUtf8());
}

std::optional<QString> PulseAudioServer::pactl(const QStringList& arguments) const {
    QProcess client;
    client.setProcessEnvironment(clientEnvironment());
    client.start(QStringLiteral("pactl"), arguments);
    if (!client.waitForFinished(10000) || client.exitStatus() != QProcess::NormalExit ||
        client.exitCode() != 0) {
        return std::nullopt;
    }
    return QString::fromUtf8(client.readAllStandardOutput());
}

std::optional<int> PulseAudioServer::loadNullSink(const QString& name, const QString& description) {
    const std::optional<QString> index =
        pactl({QStringLiteral("load-module"), QStringLiteral("module-null-sink"),
               QStringLiteral("sink_name=") + name, QStringLiteral("rate=48000"),
               QStringLiteral("channels=1"),
               QStringLiteral("sink_properties='device.description=\"%1\"'").arg(description)});
    bool ok = false;
    const int value = index ? index->trimmed().toInt(&ok) : -1;
    return ok ? std::optional(value) : std::nullopt;
}

bool PulseAudioServer::unloadModule(int index) {
    return pactl({QStringLiteral("unload-module"), QString::number(index)}).has_value();
}

bool PulseAudioServer::setDefaultSource(const QString& sourceName) {
    return pactl({QStringLiteral("set-default-source"), sourceName}).has_value();
}

QString PulseAudioServer::defaultSource() const {
    return pactl({QStringLiteral("get-default-source")}).value_or(QString()).trimmed();
}

bool PulseAudioServer::serveTwoSources() {
    if (!loadNullSink(QStringLiteral("first"), QStringLiteral("First")) ||
        !loadNullSink(QStringLiteral("second"), QStringLiteral("Second")) ||
        !setDefaultSource(QStringLiteral("first.monitor"))) {
        return false;
    }
    becomeDefaultForThisProcess();
    return true;
}
