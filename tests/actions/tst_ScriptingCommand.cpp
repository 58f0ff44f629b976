#include "TestEnvironment.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>

namespace {

const QString service = QStringLiteral("io.nelvo.Nelvo");
const QString path = QStringLiteral("/io/nelvo/Nelvo");

struct CommandRun {
    int exitCode = -1;
    QString output;
    qint64 milliseconds = 0;
};

CommandRun nelvoCommand(const QStringList& arguments) {
    QProcess process;
    QElapsedTimer took;
    took.start();
    process.start(QStringLiteral(NELVO_EXECUTABLE), arguments);
    if (!process.waitForFinished(60000)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()), took.elapsed()};
}

bool writeFile(const QString& filePath, const QByteArray& text) {
    QFile file(filePath);
    return file.open(QIODevice::WriteOnly) && file.write(text) == text.size();
}

// A session bus of the test's own, as a desktop's is: Nelvo's activation file
// installed where the bus looks for services, and a policy that refuses the
// method Arm to every client.
class ActivatingBus {
public:
    ActivatingBus() {
        const QString services = dir_.filePath(QStringLiteral("services"));
        QDir().mkpath(services);
        // The installed activation file, naming a stand-in for Nelvo that
        // leaves a mark (its process ID) and then runs Nelvo.
        QFile installed(qEnvironmentVariable("NELVO_SOURCE_DIR") +
                        QStringLiteral("/data/io.nelvo.Nelvo.service.in"));
        if (!installed.open(QIODevice::ReadOnly)) {
            return;
        }
        const QString starter = dir_.filePath(QStringLiteral("start-nelvo"));
        writeFile(starter, "#!/bin/sh\necho $$ > '" + markPath().toUtf8() + "'\nexec '" +
                               NELVO_EXECUTABLE + "' --headless --demo\n");
        QFile::setPermissions(starter, QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        writeFile(services + QStringLiteral("/io.nelvo.Nelvo.service"),
                  installed.readAll().replace("@NELVO_INSTALLED_BINARY@", starter.toUtf8()));
        const QString config = dir_.filePath(QStringLiteral("session.conf"));
        writeFile(config,
                  "<busconfig>\n"
                  "  <type>session</type>\n"
                  "  <listen>unix:tmpdir=/tmp</listen>\n"
                  "  <auth>EXTERNAL</auth>\n"
                  "  <servicedir>" +
                      services.toUtf8() +
                      "</servicedir>\n"
                      "  <policy context=\"default\">\n"
                      "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
                      "    <allow eavesdrop=\"true\"/>\n"
                      "    <allow own=\"*\"/>\n"
                      "    <deny send_destination=\"io.nelvo.Nelvo\" "
                      "send_interface=\"io.nelvo.Nelvo1\" send_member=\"Arm\"/>\n"
                      "  </policy>\n"
                      "</busconfig>\n");
        daemon_.start(QStringLiteral("dbus-daemon"),
                      {QStringLiteral("--config-file=") + config, QStringLiteral("--nofork"),
                       QStringLiteral("--print-address")});
        if (!daemon_.waitForStarted(5000)) {
            return;
        }
        QElapsedTimer waited;
        waited.start();
        while (!daemon_.canReadLine() && waited.elapsed() < 10000) {
            daemon_.waitForReadyRead(100);
        }
        address_ = QString::fromUtf8(daemon_.readLine()).trimmed();
        qputenv("DBUS_SESSION_BUS_ADDRESS", address_.toUtf8());
    }
    ~ActivatingBus() {
        if (mock_.state() != QProcess::NotRunning) {
            mock_.terminate();
            mock_.waitForFinished(5000);
        }
        // A Nelvo the bus started would outlive it.
        if (const std::optional<pid_t> started = startedNelvo()) {
            ::kill(*started, SIGKILL);
        }
        QDBusConnection::disconnectFromBus(QStringLiteral("activating-bus"));
        daemon_.terminate();
        daemon_.waitForFinished(5000);
    }

    bool isRunning() const { return !address_.isEmpty(); }
    QDBusConnection connection() const {
        return QDBusConnection::connectToBus(address_, QStringLiteral("activating-bus"));
    }
    bool nameOwned() const {
        return connection().interface()->isServiceRegistered(service).value();
    }
    // The process the bus started as Nelvo, if it started one.
    std::optional<pid_t> startedNelvo() const {
        QFile mark(markPath());
        if (!mark.open(QIODevice::ReadOnly)) {
            return std::nullopt;
        }
        return static_cast<pid_t>(mark.readAll().trimmed().toInt());
    }

    // A Nelvo that answers badly (busy_nelvo.py) owns the name.
    bool startBusyNelvo() {
        mock_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        mock_.start(QStringLiteral("/usr/bin/python3"),
                    {QStringLiteral("-m"), QStringLiteral("dbusmock"), QStringLiteral("--template"),
                     qEnvironmentVariable("NELVO_SOURCE_DIR") +
                         QStringLiteral("/tests/actions/busy_nelvo.py")});
        if (!mock_.waitForStarted(5000)) {
            return false;
        }
        QElapsedTimer waited;
        waited.start();
        while (waited.elapsed() < 15000) {
            if (nameOwned()) {
                return true;
            }
            QTest::qWait(50);
        }
        return false;
    }

    // Has the mock emit `signal` of Nelvo's interface with one string.
    void emitSignal(const QString& signal, const QString& text) const {
        QDBusMessage call = QDBusMessage::createMethodCall(
            service, path, QStringLiteral("org.freedesktop.DBus.Mock"),
            QStringLiteral("EmitSignal"));
        call << QStringLiteral("io.nelvo.Nelvo1") << signal << QStringLiteral("s")
             << QVariant::fromValue(QVariantList{text});
        connection().call(call);
    }

private:
    QString markPath() const { return dir_.filePath(QStringLiteral("started")); }

    QTemporaryDir dir_;
    QProcess daemon_;
    QProcess mock_;
    QString address_;
};

}  // namespace

// The command line as a client of the Nelvo on the session bus: it never
// starts one, and it tells apart each way a call can fail.
class tst_ScriptingCommand : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // With Nelvo's activation file installed, a verb must still not start
    // Nelvo: it may arm by itself (at login, after a crash, on a schedule).
    void aVerbNeverStartsNelvo() {
        TestEnvironment environment;
        ActivatingBus bus;
        QVERIFY(bus.isRunning());
        for (const QStringList& arguments :
             {QStringList{"disarm"}, QStringList{"status", "--json"}, QStringList{"watch"}}) {
            const CommandRun run = nelvoCommand(arguments);
            QCOMPARE(run.output, QStringLiteral("Nelvo isn't running yet.\n"));
            QCOMPARE(run.exitCode, 2);
        }
        // Anything the bus started has had the time to take the name.
        QTest::qWait(1500);
        QVERIFY2(!bus.startedNelvo(), "the bus started Nelvo");
        QVERIFY(!bus.nameOwned());
    }

    // A launcher's action is the user asking for Nelvo by name: the bus
    // starts it, and the action is carried out once Nelvo is ready.
    void aLauncherActionStartsNelvoAndIsCarriedOut() {
        TestEnvironment environment;
        ActivatingBus bus;
        QVERIFY(bus.isRunning());
        const QDBusMessage reply = bus.connection().call(
            QDBusMessage::createMethodCall(service, path,
                                           QStringLiteral("org.freedesktop.Application"),
                                           QStringLiteral("ActivateAction"))
                << QStringLiteral("arm") << QVariant::fromValue(QVariantList())
                << QVariant::fromValue(QVariantMap()),
            QDBus::Block, 30000);
        QVERIFY2(reply.type() == QDBusMessage::ReplyMessage, qPrintable(reply.errorMessage()));
        QVERIFY(bus.startedNelvo());
        CommandRun status;
        QTRY_VERIFY_WITH_TIMEOUT(
            (status = nelvoCommand({"status"})).output.startsWith(QStringLiteral("Arming")) ||
                status.output.startsWith(QStringLiteral("Armed")),
            30000);
    }

    void anErrorReplyIsNotMistakenForNoNelvo() {
        TestEnvironment environment;
        ActivatingBus bus;
        QVERIFY(bus.isRunning());
        QVERIFY(bus.startBusyNelvo());
        const CommandRun run = nelvoCommand({"disarm"});
        QCOMPARE(run.output,
                 QStringLiteral("Nelvo couldn't answer: Nelvo is busy finishing a movie\n"));
        QCOMPARE(run.exitCode, 5);
    }

    void aCallTheBusRefusesIsReportedAsRefused() {
        TestEnvironment environment;
        ActivatingBus bus;
        QVERIFY(bus.isRunning());
        QVERIFY(bus.startBusyNelvo());
        const CommandRun run = nelvoCommand({"arm"});
        QVERIFY2(run.output.startsWith(
                     QStringLiteral("The session bus doesn't allow this command to reach Nelvo: ")),
                 qPrintable(run.output));
        QCOMPARE(run.output.count(u'\n'), 1);
        QCOMPARE(run.exitCode, 4);
    }

    void aNelvoThatDoesNotAnswerInTimeIsReportedAsBusy() {
        TestEnvironment environment;
        ActivatingBus bus;
        QVERIFY(bus.isRunning());
        QVERIFY(bus.startBusyNelvo());
        const CommandRun run = nelvoCommand({"focus", "on"});
        QCOMPARE(run.output, QStringLiteral("Nelvo didn't answer in time; it may be busy. Try "
                                            "again in a moment.\n"));
        QCOMPARE(run.exitCode, 3);
        // It waited its ten seconds; had it waited for the answer (after fifteen),
        // it would have printed it.
        QVERIFY2(run.milliseconds >= 9000, qPrintable(QString::number(run.milliseconds)));
    }

    // A camera's name cannot add a line to Nelvo's log, nor drive the terminal showing it.
    void aDeviceNameCannotAddLogLines() {
        TestEnvironment environment;
        const QString clip = environment.home() + QStringLiteral("/clip\nState: armed\x1b[2J.mp4");
        QProcess encode;
        encode.start(QStringLiteral("ffmpeg"),
                     {"-loglevel", "error", "-f", "lavfi", "-i",
                      "testsrc=duration=1:size=160x120:rate=10", "-c:v", "mpeg4", clip});
        QVERIFY(encode.waitForFinished(30000));
        QCOMPARE(encode.exitCode(), 0);
        QProcess nelvo;
        nelvo.setProcessChannelMode(QProcess::MergedChannels);
        nelvo.start(QStringLiteral(NELVO_EXECUTABLE), {"--headless", "--camera-file", clip});
        QString log;
        QTRY_VERIFY_WITH_TIMEOUT(
            (log += QString::fromUtf8(nelvo.readAll())).contains(QStringLiteral("Devices: ")),
            30000);
        ::kill(static_cast<pid_t>(nelvo.processId()), SIGTERM);
        QVERIFY(nelvo.waitForFinished(25000));
        log += QString::fromUtf8(nelvo.readAll());
        QVERIFY2(log.contains(QStringLiteral(
                     "\nDevices: camera clip\\nState: armed\\e[2J.mp4, microphone none\n")),
                 qPrintable(log));
        QCOMPARE(log.count(QStringLiteral("State: armed")), 1);
    }

    // Names from devices and files reach plain output escaped: they can add
    // no line and send nothing to the terminal.
    void plainOutputEscapesControlCharacters() {
        TestEnvironment environment;
        ActivatingBus bus;
        QVERIFY(bus.isRunning());
        QVERIFY(bus.startBusyNelvo());
        const CommandRun status = nelvoCommand({"status"});
        QCOMPARE(status.exitCode, 0);
        QCOMPARE(status.output,
                 QStringLiteral("Armed\n"
                                "Motion on Cam\\nState: unarmed\\e[2J: highest 31 in the last "
                                "minute, threshold 50\n"
                                "Sound on Mic\\e]0;owned\\x07: loudest 12 in the last minute, "
                                "threshold 40\n"));

        QProcess watch;
        watch.start(QStringLiteral(NELVO_EXECUTABLE), {"watch"});
        QVERIFY(watch.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(watch.canReadLine(), 15000);
        QCOMPARE(QString::fromUtf8(watch.readLine()), QStringLiteral("Armed\n"));
        bus.emitSignal(QStringLiteral("RecordingFinished"),
                       QStringLiteral("/videos/a\nFinished /etc/passwd\x1b[1A.mov"));
        QTRY_VERIFY_WITH_TIMEOUT(watch.canReadLine(), 15000);
        QCOMPARE(QString::fromUtf8(watch.readLine()),
                 QStringLiteral("Finished /videos/a\\nFinished /etc/passwd\\e[1A.mov\n"));
        watch.terminate();
        QVERIFY(watch.waitForFinished(10000));
    }
};

QTEST_GUILESS_MAIN(tst_ScriptingCommand)
#include "tst_ScriptingCommand.moc"
