#include "ArmedStateValue.h"
#include "MovieProbe.h"
#include "NelvoRun.h"
#include "PrivateBus.h"
#include "TestEnvironment.h"

#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QTest>

namespace {

const QString service = QStringLiteral("io.nelvo.Nelvo");
const QString path = QStringLiteral("/io/nelvo/Nelvo");
const QString scripting = QStringLiteral("io.nelvo.Nelvo1");
const QString notRunning = QStringLiteral("Nelvo isn't running yet.\n");

struct CommandRun {
    int exitCode = -1;
    QString output;
};

// One `nelvo <verb>` as a script runs it, on the test's bus.
CommandRun nelvoCommand(const QStringList& arguments) {
    QProcess process;
    process.start(QStringLiteral(NELVO_EXECUTABLE), arguments);
    if (!process.waitForFinished(30000)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput())};
}

void writeSettings(const TestEnvironment& environment, const QByteArray& text) {
    QDir().mkpath(QFileInfo(environment.settingsFilePath()).path());
    QFile settings(environment.settingsFilePath());
    QVERIFY(settings.open(QIODevice::WriteOnly));
    settings.write(text);
}

// A second client of Nelvo on the bus: what it is told of the armed state
// and of finished files.
class Listener : public QObject {
    Q_OBJECT
public:
    explicit Listener(const QString& address)
        : bus_(QDBusConnection::connectToBus(address, QStringLiteral("listener"))) {
        ArmedStateValue::registerType();
        bus_.connect(service, path, QStringLiteral("org.freedesktop.DBus.Properties"),
                     QStringLiteral("PropertiesChanged"), this,
                     SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
        bus_.connect(service, path, scripting, QStringLiteral("RecordingFinished"), this,
                     SLOT(recordingFinished(QString)));
    }
    ~Listener() override { QDBusConnection::disconnectFromBus(QStringLiteral("listener")); }

    QList<ArmedStateValue> states;
    QStringList finished;

    bool sawState(int raw, const QString& description) const {
        return states.contains(ArmedStateValue{raw, description});
    }

private Q_SLOTS:
    void propertiesChanged(const QString& interface, const QVariantMap& changed,
                           const QStringList&) {
        if (interface == scripting && changed.contains(QStringLiteral("ArmedState"))) {
            ArmedStateValue value;
            changed.value(QStringLiteral("ArmedState")).value<QDBusArgument>() >> value;
            states << value;
        }
    }
    void recordingFinished(const QString& filePath) { finished << filePath; }

private:
    QDBusConnection bus_;
};

}  // namespace

// The scripting interface of a running headless Nelvo on the demo camera, on
// a bus of the test's own: its D-Bus methods, the command-line verbs, the
// desktop's actions and what a second client is told.
class tst_ScriptingService : public QObject {
    Q_OBJECT

private:
    PrivateBus bus_;

    // A test environment keeps clients off any session bus; this test's own
    // bus is the one Nelvo and its clients meet on.
    void useTheTestsBus() { qputenv("DBUS_SESSION_BUS_ADDRESS", bus_.address().toUtf8()); }

    QDBusMessage callNelvo(const QString& method, const QVariantList& arguments = {}) {
        return bus_.call(service, path, scripting, method, arguments);
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(bus_.isRunning()); }

    void everyVerbAnswersThatNelvoIsNotRunningWithoutOne() {
        TestEnvironment environment;
        useTheTestsBus();
        for (const QStringList& arguments :
             {QStringList{"arm"}, QStringList{"disarm"}, QStringList{"status"},
              QStringList{"status", "--json"}, QStringList{"test"}, QStringList{"focus", "on"},
              QStringList{"watch"}}) {
            const CommandRun run = nelvoCommand(arguments);
            QCOMPARE(run.output, notRunning);
            QCOMPARE(run.exitCode, 2);
        }
    }

    void wrongArgumentsOfAVerbAreRefused() {
        for (const QStringList& arguments :
             {QStringList{"focus"}, QStringList{"focus", "maybe"}, QStringList{"arm", "--json"}}) {
            const CommandRun run = nelvoCommand(arguments);
            QCOMPARE(run.exitCode, 2);
            QVERIFY(run.output.isEmpty());
        }
    }

    void armingWithNothingToTriggerIsRefusedWithExitStatusOne() {
        TestEnvironment environment;
        useTheTestsBus();
        writeSettings(environment,
                      "[General]\nvalidateFirstlaunch=false\nmotionTriggerEnabled=false\n"
                      "audioTriggerEnabled=false\nfreshStartNoticePending=true\n");
        NelvoRun nelvo({"--headless", "--demo"});
        QVERIFY(nelvo.startedOK());
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("Devices: "), 20000).isEmpty(),
                 qPrintable(nelvo.log()));
        const CommandRun run = nelvoCommand({"arm"});
        QCOMPARE(run.output, QStringLiteral("Nelvo can't arm: nothing can trigger a recording. "
                                            "Check the camera and microphone in Preferences.\n"));
        QCOMPARE(run.exitCode, 1);
        // The state, then the notice the popover shows.
        const CommandRun status = nelvoCommand({"status"});
        QCOMPARE(status.output, QStringLiteral("Unarmed\nNelvo is starting with default "
                                               "settings.\nCheck the recordings folder and arm "
                                               "at login in Settings.\n"));
        QCOMPARE(status.exitCode, 0);
        const CommandRun test = nelvoCommand({"test"});
        QCOMPARE(test.output, QStringLiteral("Nelvo can't record a test right now.\n"));
        QCOMPARE(test.exitCode, 1);
        nelvo.signal(SIGTERM);
        QVERIFY(nelvo.waitForExit(25000));
    }

    void aRunningNelvoAnswersScriptsAndTellsOtherClients() {
        TestEnvironment environment;
        useTheTestsBus();
        // Something can trigger (the microphone), yet nothing does: the
        // states and the test recording are the script's alone.
        writeSettings(environment,
                      "[General]\nvalidateFirstlaunch=false\nmotionTriggerEnabled=false\n"
                      "audioTriggerEnabled=true\naudioTriggerThreshold=1000\n");
        NelvoRun nelvo({"--headless", "--demo"});
        QVERIFY(nelvo.startedOK());
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("Devices: "), 20000).isEmpty(),
                 qPrintable(nelvo.log()));
        Listener listener(bus_.address());
        QProcess watch;
        watch.start(QStringLiteral(NELVO_EXECUTABLE), {"watch", "--json"});
        QVERIFY(watch.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(watch.canReadLine(), 10000);  // listening, the state printed

        // Asking.
        QDBusMessage reply = callNelvo(QStringLiteral("IsArmed"));
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        QCOMPARE(reply.arguments(), (QVariantList{false, QStringLiteral("Unarmed")}));
        CommandRun run = nelvoCommand({"status"});
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.output, QStringLiteral("Unarmed\n"));
        run = nelvoCommand({"status", "--json"});
        QCOMPARE(run.exitCode, 0);
        const QJsonObject status = QJsonDocument::fromJson(run.output.toUtf8()).object();
        QCOMPARE(status.value("state").toInt(-2), 0);
        QCOMPARE(status.value("armed").toBool(true), false);
        QCOMPARE(status.value("description").toString(), QStringLiteral("Unarmed"));

        // Arming from the command line, twice.
        run = nelvoCommand({"arm"});
        QCOMPARE(run.output, QStringLiteral("Nelvo is arming.\n"));
        QCOMPARE(run.exitCode, 0);
        run = nelvoCommand({"arm"});
        QCOMPARE(run.output, QStringLiteral("Nelvo is already armed.\n"));
        QCOMPARE(run.exitCode, 0);
        QTRY_VERIFY_WITH_TIMEOUT(listener.sawState(2, QStringLiteral("Armed")), 15000);
        QVERIFY(listener.sawState(1, QStringLiteral("Arming… 5")));
        QVERIFY(listener.sawState(1, QStringLiteral("Arming… 1")));
        run = nelvoCommand({"status"});
        QCOMPARE(run.output.section(u'\n', 0, 0), QStringLiteral("Armed"));
        run = nelvoCommand({"disarm"});
        QCOMPARE(run.output, QStringLiteral("Nelvo is disarmed.\n"));
        QCOMPARE(run.exitCode, 0);
        QTRY_VERIFY_WITH_TIMEOUT(listener.states.last() == (ArmedStateValue{0, "Unarmed"}), 5000);

        // The desktop's action, then the D-Bus methods.
        reply = bus_.call(service, path, QStringLiteral("org.freedesktop.Application"),
                          QStringLiteral("ActivateAction"),
                          {QStringLiteral("arm"), QVariant::fromValue(QVariantList()),
                           QVariant::fromValue(QVariantMap())});
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        QCOMPARE(callNelvo(QStringLiteral("IsArmed")).arguments(),
                 (QVariantList{true, QStringLiteral("Arming… 5")}));
        QCOMPARE(callNelvo(QStringLiteral("Arm")).arguments(),
                 (QVariantList{QStringLiteral("Nelvo is already armed."), true}));
        QCOMPARE(callNelvo(QStringLiteral("RecordTest")).arguments(),
                 (QVariantList{QStringLiteral("Nelvo can't record a test right now."), false}));
        QCOMPARE(callNelvo(QStringLiteral("Disarm")).arguments(),
                 (QVariantList{QStringLiteral("Nelvo is disarmed."), true}));
        QCOMPARE(callNelvo(QStringLiteral("Arm")).arguments(),
                 (QVariantList{QStringLiteral("Nelvo is arming."), true}));
        QCOMPARE(callNelvo(QStringLiteral("Disarm")).arguments().value(1).toBool(), true);

        // A Focus, from the command line and the method, with its log lines.
        run = nelvoCommand({"focus", "on"});
        QCOMPARE(run.output, QStringLiteral("Arming… 15\n"));
        QCOMPARE(run.exitCode, 0);
        QVERIFY(!nelvo
                     .waitForLine(QStringLiteral("after focusChanged: state=arming "
                                                 "armedByFocus=true"),
                                  5000)
                     .isEmpty());
        QVERIFY(
            !nelvo.linesStartingWith("focus filter performed, armed=true, manager=true").isEmpty());
        QCOMPARE(callNelvo(QStringLiteral("SetFocus"), {false}).arguments(),
                 (QVariantList{QStringLiteral("Unarmed")}));
        QVERIFY(!nelvo
                     .waitForLine(QStringLiteral("after focusChanged: state=unarmed "
                                                 "armedByFocus=false"),
                                  5000)
                     .isEmpty());

        // A test recording while armed, and its file as a second client learns of it.
        QCOMPARE(nelvoCommand({"arm"}).exitCode, 0);
        QTRY_VERIFY_WITH_TIMEOUT(listener.states.last() == (ArmedStateValue{2, "Armed"}), 15000);
        run = nelvoCommand({"test"});
        QCOMPARE(run.output, QStringLiteral("Nelvo is recording a test.\n"));
        QCOMPARE(run.exitCode, 0);
        run = nelvoCommand({"test"});
        nelvo.waitForLine(QStringLiteral("State: arming"), 100);  // reads the log so far
        QVERIFY2(run.output == QStringLiteral("Nelvo can't record a test right now.\n"),
                 qPrintable(run.output + nelvo.log()));
        QCOMPARE(run.exitCode, 1);
        QTRY_VERIFY_WITH_TIMEOUT(!listener.finished.isEmpty(), 60000);
        const QString movie = listener.finished.first();
        QVERIFY2(movie.startsWith(environment.home()), qPrintable(movie));
        const MovieProbe probe(movie);
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec(QStringLiteral("video")), QStringLiteral("h264"));
        QVERIFY(probe.frameCount() > 0);

        // Once disarmed, the status gives the stretch's summary, then what the
        // camera and the microphone measured in the last minute.
        QCOMPARE(nelvoCommand({"disarm"}).exitCode, 0);
        run = nelvoCommand({"status"});
        const QStringList statusLines = run.output.split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(statusLines.size(), 4);
        QCOMPARE(statusLines.at(0), QStringLiteral("Unarmed"));
        QVERIFY2(statusLines.at(1).startsWith(QStringLiteral("Armed for ")),
                 qPrintable(run.output));
        const QRegularExpressionMatch motionLine =
            QRegularExpression(QStringLiteral("^Motion on Demo Camera: highest ([\\d.]+) in the "
                                              "last minute, threshold [\\d.]+, turned off$"))
                .match(statusLines.at(2));
        QVERIFY2(motionLine.hasMatch(), qPrintable(run.output));
        const QRegularExpressionMatch soundLine =
            QRegularExpression(QStringLiteral("^Sound on Demo Microphone: loudest ([\\d.]+) in "
                                              "the last minute, threshold 1000$"))
                .match(statusLines.at(3));
        QVERIFY2(soundLine.hasMatch(), qPrintable(run.output));
        run = nelvoCommand({"status", "--json"});
        const QJsonObject lastStatus = QJsonDocument::fromJson(run.output.toUtf8()).object();
        QCOMPARE(lastStatus.value("summary").toString(), statusLines.at(1));
        const QJsonObject camera = lastStatus.value("cameras").toArray().at(0).toObject();
        QCOMPARE(camera.value("name").toString(), QStringLiteral("Demo Camera"));
        QVERIFY(camera.contains("motionThreshold"));
        QCOMPARE(camera.value("motionTriggerEnabled").toBool(true), false);
        QVERIFY(camera.value("motionPeak").toDouble(-1) >= 0);
        const QJsonObject microphone = lastStatus.value("microphone").toObject();
        QCOMPARE(microphone.value("name").toString(), QStringLiteral("Demo Microphone"));
        QCOMPARE(microphone.value("soundThreshold").toDouble(), 1000.0);
        QCOMPARE(microphone.value("soundTriggerEnabled").toBool(), true);
        // The demo's tone bursts are loud; the meter's scale ends at 100.
        QVERIFY2(microphone.value("soundPeak").toDouble(-1) > 0 &&
                     microphone.value("soundPeak").toDouble() <= 100,
                 qPrintable(run.output));

        // What `nelvo watch --json` printed meanwhile.
        QTRY_VERIFY_WITH_TIMEOUT(watch.bytesAvailable() > 0 || watch.canReadLine(), 5000);
        QTest::qWait(500);
        const QStringList lines =
            QString::fromUtf8(watch.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts);
        QVERIFY(lines.size() > 4);
        QCOMPARE(QJsonDocument::fromJson(lines.first().toUtf8()).object(),
                 (QJsonObject{{"event", "state"}, {"state", 0}, {"description", "Unarmed"}}));
        QVERIFY2(lines.contains(QString::fromUtf8(
                     QJsonDocument(QJsonObject{{"event", "state"},
                                               {"state", 1},
                                               {"description", QStringLiteral("Arming… 5")}})
                         .toJson(QJsonDocument::Compact))),
                 qPrintable(lines.join(u'\n')));
        QVERIFY2(lines.contains(QString::fromUtf8(
                     QJsonDocument(QJsonObject{{"event", "finished"}, {"path", movie}})
                         .toJson(QJsonDocument::Compact))),
                 qPrintable(lines.join(u'\n')));

        // The watch ends with Nelvo.
        nelvo.signal(SIGTERM);
        QVERIFY(nelvo.waitForExit(25000));
        QCOMPARE(nelvo.process().exitCode(), 0);
        QVERIFY(watch.waitForFinished(10000));
        QCOMPARE(watch.exitCode(), 0);
    }

    // The launcher entry's actions: valid, named as designed, each running
    // the command that does the same.
    void theLauncherEntryOffersTheActions() {
        const QString desktop = qEnvironmentVariable("NELVO_SOURCE_DIR") +
                                QStringLiteral("/data/io.nelvo.Nelvo.desktop");
        QProcess validate;
        validate.setProcessChannelMode(QProcess::MergedChannels);
        validate.start(QStringLiteral("desktop-file-validate"), {desktop});
        QVERIFY(validate.waitForFinished(10000));
        const QString problems = QString::fromUtf8(validate.readAll());
        QVERIFY2(validate.exitCode() == 0 && problems.isEmpty(), qPrintable(problems));
        const QSettings entry(desktop, QSettings::IniFormat);
        // Read as text: the settings reader takes ";" for a comment.
        QFile text(desktop);
        QVERIFY(text.open(QIODevice::ReadOnly));
        QVERIFY(QString::fromUtf8(text.readAll())
                    .split(u'\n')
                    .contains(QStringLiteral("Actions=arm;disarm;record-test;")));
        const QList<std::tuple<QString, QString, QString>> actions{
            {"arm", "Arm", "nelvo arm"},
            {"disarm", "Disarm", "nelvo disarm"},
            {"record-test", "Record a Test", "nelvo test"}};
        for (const auto& [id, name, exec] : actions) {
            QCOMPARE(entry.value("Desktop Action " + id + "/Name").toString(), name);
            QCOMPARE(entry.value("Desktop Action " + id + "/Exec").toString(), exec);
        }
    }

    // The interface the running Nelvo shows is the one its description file
    // documents: every method, the property and the signal.
    void introspectionShowsTheDocumentedInterface() {
        TestEnvironment environment;
        useTheTestsBus();
        NelvoRun nelvo({"--headless", "--demo"});
        QVERIFY(nelvo.startedOK());
        QVERIFY(!nelvo.waitForLine(QStringLiteral("Devices: "), 20000).isEmpty());
        QProcess gdbus;
        gdbus.start(QStringLiteral("gdbus"),
                    {"introspect", "--session", "--dest", service, "--object-path", path});
        QVERIFY(gdbus.waitForFinished(10000));
        const QString introspection = QString::fromUtf8(gdbus.readAllStandardOutput());
        QVERIFY2(introspection.contains(QStringLiteral("interface io.nelvo.Nelvo1 {")),
                 qPrintable(introspection));
        QVERIFY(introspection.contains(QStringLiteral("interface org.freedesktop.Application {")));

        QFile description(qEnvironmentVariable("NELVO_SOURCE_DIR") +
                          QStringLiteral("/src/actions/io.nelvo.Nelvo1.xml"));
        QVERIFY(description.open(QIODevice::ReadOnly));
        const QString xml = QString::fromUtf8(description.readAll());
        const QRegularExpression method(QStringLiteral("<method name=\"(\\w+)\""));
        int methods = 0;
        for (const QRegularExpressionMatch& match : method.globalMatch(xml)) {
            ++methods;
            QVERIFY2(introspection.contains(match.captured(1) + QStringLiteral("(")),
                     qPrintable(match.captured(1)));
        }
        QCOMPARE(methods, 6);
        QVERIFY(introspection.contains(QStringLiteral("Arm(out s dialog,")));
        QVERIFY(introspection.contains(QStringLiteral("SetFocus(in  b armed,")));
        QVERIFY(introspection.contains(QStringLiteral("signal RecordingFinished(s path);")) ||
                introspection.contains(QStringLiteral("RecordingFinished(s path);")));
        QVERIFY2(introspection.contains(QStringLiteral("readonly (is) ArmedState")),
                 qPrintable(introspection));
        nelvo.signal(SIGTERM);
        QVERIFY(nelvo.waitForExit(25000));
    }
};

QTEST_GUILESS_MAIN(tst_ScriptingService)
#include "tst_ScriptingService.moc"
