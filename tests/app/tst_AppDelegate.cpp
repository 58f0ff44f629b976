#include "ArmedStretch.h"
#include "Defaults.h"
#include "FileOutputManager.h"
#include "MovieProbe.h"
#include "NelvoRun.h"
#include "PrivateBus.h"
#include "PulseAudioServer.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"
#include "WhatHappened.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSettings>
#include <QTest>
#include <cmath>
#include <csignal>
#include <memory>
#include <utility>

namespace {

QStringList filesUnder(const QString& folder, const QString& pattern) {
    QStringList found;
    QDirIterator it(folder, {pattern}, QDir::Files, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        found << it.next();
    }
    found.sort();
    return found;
}

void writeSettings(const TestEnvironment& environment, const QByteArray& text) {
    QDir().mkpath(QFileInfo(environment.settingsFilePath()).path());
    QFile settings(environment.settingsFilePath());
    QVERIFY(settings.open(QIODevice::WriteOnly));
    settings.write(text);
}

// The screens a run of `nelvo` sees: Qt's offscreen platform, set up with
// screens of these connector names, and a display said to be there.
class ScreensForTest {
public:
    ScreensForTest(const TestEnvironment& environment, const QStringList& names) {
        QJsonArray screens;
        int x = 0;
        for (const QString& name : names) {
            screens.append(
                QJsonObject{{"name", name}, {"x", x}, {"y", 0}, {"width", 1280}, {"height", 800}});
            x += 1280;
        }
        const QString path = environment.home() + QStringLiteral("/screens.json");
        QFile file(path);
        if (file.open(QIODevice::WriteOnly)) {
            file.write(QJsonDocument(QJsonObject{{"screens", screens}}).toJson());
        }
        platform_ = qgetenv("QT_QPA_PLATFORM");
        display_ = qgetenv("DISPLAY");
        qputenv("QT_QPA_PLATFORM", "offscreen:configfile=" + path.toUtf8());
        qputenv("DISPLAY", ":nelvo-test");
    }
    ~ScreensForTest() {
        qputenv("QT_QPA_PLATFORM", platform_);
        if (display_.isEmpty()) {
            qunsetenv("DISPLAY");
        } else {
            qputenv("DISPLAY", display_);
        }
    }

private:
    QByteArray platform_;
    QByteArray display_;
};

const QString notificationService = QStringLiteral("org.freedesktop.Notifications");
const QString logindService = QStringLiteral("org.freedesktop.login1");
const QString upowerService = QStringLiteral("org.freedesktop.UPower");
const QString upowerPath = QStringLiteral("/org/freedesktop/UPower");
const QString mockInterface = QStringLiteral("org.freedesktop.DBus.Mock");

}  // namespace

// The whole program, run as a user runs it: `nelvo --headless --demo`.
class tst_AppDelegate : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QVERIFY(QFile::exists(QStringLiteral(NELVO_EXECUTABLE))); }

    // A camera file that cannot be played is refused before anything arms,
    // with one line that names the file and the reason.
    void refusesACameraFileThatDoesNotExist() {
        TestEnvironment environment;
        NelvoRun nelvo({"--headless", "--camera-file", "/nonexistent", "--arm"});
        QVERIFY(nelvo.startedOK());
        QVERIFY(nelvo.waitForExit(20000));
        QCOMPARE(nelvo.process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(nelvo.process().exitCode(), 2);
        QCOMPARE(
            nelvo.lines(),
            QStringList{QStringLiteral("Nelvo can't play /nonexistent as a camera: no such file")});
        QVERIFY(!QFile::exists(environment.settingsFilePath()));
    }

    void refusesACameraFileThatDoesNotDecode() {
        TestEnvironment environment;
        const QString path = environment.home() + QStringLiteral("/not a movie.mp4");
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(QByteArray(64 * 1024, 'x'));
        }
        NelvoRun nelvo({"--headless", "--camera-file", path, "--arm"});
        QVERIFY(nelvo.startedOK());
        QVERIFY(nelvo.waitForExit(20000));
        QCOMPARE(nelvo.process().exitCode(), 2);
        QCOMPARE(nelvo.lines().size(), 1);
        QVERIFY2(nelvo.lines().constFirst().startsWith(
                     QStringLiteral("Nelvo can't play %1 as a camera: ").arg(path)),
                 qPrintable(nelvo.log()));
        QVERIFY(!QFile::exists(environment.settingsFilePath()));
    }

    // A file that decodes is taken as the camera.
    void playsACameraFileThatDecodes() {
        TestEnvironment environment;
        const QString path = environment.home() + QStringLiteral("/clip.mp4");
        QProcess encode;
        encode.start(QStringLiteral("ffmpeg"),
                     {"-loglevel", "error", "-f", "lavfi", "-i",
                      "testsrc=duration=2:size=320x240:rate=15", "-c:v", "mpeg4", path});
        QVERIFY(encode.waitForFinished(30000));
        QCOMPARE(encode.exitCode(), 0);
        NelvoRun nelvo({"--headless", "--camera-file", path});
        QVERIFY(nelvo.startedOK());
        QCOMPARE(nelvo.waitForLine(QStringLiteral("Devices: "), 20000),
                 QStringLiteral("Devices: camera clip.mp4, microphone none"));
        nelvo.signal(SIGTERM);
        QVERIFY(nelvo.waitForExit(25000));
        QCOMPARE(nelvo.process().exitCode(), 0);
    }

    // Arguments Nelvo does not know end it with the usage line.
    void refusesUnknownArguments() {
        TestEnvironment environment;
        for (const QStringList& arguments :
             {QStringList{"bogus"}, QStringList{"--bogus"}, QStringList{"--headless", "demo"}}) {
            NelvoRun nelvo(arguments);
            QVERIFY(nelvo.startedOK());
            QVERIFY(nelvo.waitForExit(20000));
            QCOMPARE(nelvo.process().exitCode(), 2);
            QVERIFY2(!nelvo.lines().isEmpty() &&
                         nelvo.lines().last().startsWith(QStringLiteral("Usage: nelvo ")),
                     qPrintable(nelvo.log()));
            QVERIFY2(nelvo.linesStartingWith(QStringLiteral("State: ")).isEmpty(),
                     qPrintable(nelvo.log()));
        }
        QVERIFY(!QFile::exists(environment.settingsFilePath()));
    }

    // UPower's answers and the screens in use tell whether closing the lid
    // would stop the watch: on power with an external display it would not;
    // on battery, or with the built-in panel alone, it would.
    void saysWhenClosingTheLidWouldStopWatching() {
        TestEnvironment environment;
        PrivateBus bus;
        QVERIFY(bus.isRunning());
        QVERIFY(bus.startTemplate(QStringLiteral("upower"), upowerService));
        const QDBusMessage added = bus.call(
            upowerService, upowerPath, mockInterface, QStringLiteral("AddDischargingBattery"),
            {QStringLiteral("battery0"), QStringLiteral("Internal battery"), 80.0, qint64(3600)});
        QCOMPARE(added.type(), QDBusMessage::ReplyMessage);
        auto setOnBattery = [&](bool onBattery) {
            const QDBusMessage reply = bus.call(
                upowerService, upowerPath, mockInterface, QStringLiteral("UpdateProperties"),
                {upowerService, QVariantMap{{QStringLiteral("OnBattery"), onBattery}}});
            QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
        };
        const QString risk =
            QStringLiteral("Closing the lid will stop Nelvo until it's opened again");
        const QString noRisk = QStringLiteral("Closing the lid no longer stops Nelvo");

        {
            ScreensForTest screens(environment, {"eDP-1", "HDMI-A-1"});
            NelvoRun nelvo({"--demo"});
            QVERIFY(nelvo.startedOK());
            QVERIFY2(!nelvo.waitForLine(QStringLiteral("Devices: "), 20000).isEmpty(),
                     qPrintable(nelvo.log()));
            QVERIFY2(nelvo.waitForLine(QStringLiteral("Closing the lid"), 1000).isEmpty(),
                     qPrintable(nelvo.log()));
            setOnBattery(true);
            QCOMPARE(nelvo.waitForLine(QStringLiteral("Closing the lid"), 10000), risk);
            setOnBattery(false);
            QCOMPARE(nelvo.waitForLine(QStringLiteral("Closing the lid"), 10000, 1), noRisk);
            nelvo.signal(SIGTERM);
            QVERIFY(nelvo.waitForExit(25000));
            QCOMPARE(nelvo.process().exitCode(), 0);
        }
        {
            ScreensForTest screens(environment, {"eDP-1"});
            NelvoRun nelvo({"--demo"});
            QVERIFY(nelvo.startedOK());
            QCOMPARE(nelvo.waitForLine(QStringLiteral("Closing the lid"), 20000), risk);
            nelvo.signal(SIGTERM);
            QVERIFY(nelvo.waitForExit(25000));
        }
    }

    // With a display and no tray at all, Nelvo opens its window instead of
    // running unseen, and says once how to get a tray.
    void withADisplayButNoTrayTheWindowOpensWithAHint() {
        TestEnvironment environment;
        ScreensForTest screens(environment, {"eDP-1"});
        qputenv("XDG_CURRENT_DESKTOP", "GNOME");
        NelvoRun nelvo({"--demo"});
        qunsetenv("XDG_CURRENT_DESKTOP");
        QVERIFY(nelvo.startedOK());
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("Devices: "), 20000).isEmpty(),
                 qPrintable(nelvo.log()));
        const QStringList hints = nelvo.linesStartingWith(QStringLiteral("GNOME shows no tray"));
        QCOMPARE(hints.size(), 1);
        QVERIFY(hints.first().contains(QStringLiteral("AppIndicator")));
        nelvo.signal(SIGTERM);
        QVERIFY(nelvo.waitForExit(25000));
        QCOMPARE(nelvo.process().exitCode(), 0);
    }

    // The first launch asks to see the fresh-start notice; arming once
    // clears it, and later launches do not bring it back.
    void armingOnceClearsTheFreshStartNoticeForGood() {
        TestEnvironment environment;
        const auto pending = [&environment] {
            return Defaults(environment.settingsFilePath())
                .boolValue(SettingsKeys::freshStartNoticePending);
        };
        // Settings reach the file a moment after they change, so the first
        // run, never armed, is read until its notice is there.
        {
            NelvoRun unarmed({"--headless", "--demo"});
            QVERIFY(unarmed.startedOK());
            QVERIFY(!unarmed.waitForLine(QStringLiteral("Devices: "), 20000).isEmpty());
            QTRY_VERIFY_WITH_TIMEOUT(pending(), 10000);
            unarmed.signal(SIGTERM);
            QVERIFY(unarmed.waitForExit(25000));
        }
        QVERIFY(pending());
        {
            NelvoRun first({"--headless", "--demo", "--arm"});
            QVERIFY(first.startedOK());
            QVERIFY2(!first.waitForLine(QStringLiteral("State: arming"), 20000).isEmpty(),
                     qPrintable(first.log()));
            first.signal(SIGTERM);
            QVERIFY(first.waitForExit(25000));
        }
        QVERIFY(!pending());
        NelvoRun second({"--headless", "--demo"});
        QVERIFY(!second.waitForLine(QStringLiteral("Devices: "), 20000).isEmpty());
        second.signal(SIGTERM);
        QVERIFY(second.waitForExit(25000));
        QVERIFY(!pending());
    }

    // `--arm` arms as soon as something can trigger, even when that is only
    // after launch (here a microphone that appears later), and never writes
    // the stored "armAtLogin", so a crash cannot leave it changed.
    void armOptionArmsWhenATriggerAppearsAndLeavesTheStoredChoiceAlone() {
        TestEnvironment environment;
        PulseAudioServer sound;
        QVERIFY2(sound.isRunning(), qPrintable(sound.problem()));
        sound.becomeDefaultForThisProcess();
        writeSettings(environment,
                      "[General]\nvalidateFirstlaunch=false\narmAtLogin=false\n"
                      "motionTriggerEnabled=false\naudioTriggerEnabled=true\n");
        NelvoRun nelvo({"--headless", "--arm"});
        QVERIFY(nelvo.startedOK());
        QCOMPARE(nelvo.waitForLine(QStringLiteral("Devices: "), 20000),
                 QStringLiteral("Devices: camera none, microphone none"));
        QVERIFY(sound.loadNullSink(QStringLiteral("desk"), QStringLiteral("Desk")));
        const QString arming = nelvo.waitForLine(QStringLiteral("State: arming"), 20000);
        QVERIFY2(!arming.isEmpty(), qPrintable(nelvo.log()));
        QCOMPARE(nelvo.waitForLine(QStringLiteral("Devices: "), 10000, 1),
                 QStringLiteral("Devices: camera none, microphone Monitor of Desk"));
        QTRY_VERIFY_WITH_TIMEOUT(
            Defaults(environment.settingsFilePath()).date(SettingsKeys::armedRecordLastSeen),
            10000);
        nelvo.signal(SIGKILL);
        QVERIFY(nelvo.waitForExit(5000));
        const QSettings file(environment.settingsFilePath(), QSettings::IniFormat);
        QCOMPARE(file.value(QStringLiteral("armAtLogin")).toString(), QStringLiteral("false"));
    }

    // Armed at launch, the demo scene's crossing is recorded with its
    // pre-roll; quitting during the next crossing finishes that file first.
    void armsAtLaunchRecordsTheCrossingAndFinishesTheFileWhenQuitting() {
        TestEnvironment environment;
        writeSettings(environment, "[General]\ntimeoutValueInSeconds=3\n");
        NelvoRun nelvo({"--headless", "--demo", "--arm"});
        QVERIFY(nelvo.startedOK());

        // Armed 15 s after launch; the demo object crosses at 25-28 s and
        // 45-48 s of the scene; a recording ends 3 s after its last trigger.
        const QString first = nelvo.waitForLine(QStringLiteral("Finished "), 50000);
        QVERIFY2(!first.isEmpty(), qPrintable(nelvo.log()));
        const QString second = nelvo.waitForLine(QStringLiteral("Recording to "), 30000, 1);
        QVERIFY2(!second.isEmpty(), qPrintable(nelvo.log()));
        nelvo.signal(SIGTERM);
        QVERIFY(nelvo.waitForExit(25000));
        QCOMPARE(nelvo.process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(nelvo.process().exitCode(), 0);
        const QString log = nelvo.log();

        QStringList states;
        for (const QString& line : nelvo.linesStartingWith(QStringLiteral("State: "))) {
            states << line.mid(7);
        }
        QCOMPARE(states, QStringList({"unarmed", "arming", "armed", "recording", "armed",
                                      "recording", "armed"}));
        QVERIFY2(log.contains(QStringLiteral("Arming at launch in 15 seconds")), qPrintable(log));
        const QStringList lines = nelvo.lines();
        const qsizetype quitting =
            lines.indexOf(QStringLiteral("Quitting after the recording in progress is finished"));
        QVERIFY2(quitting > 0, qPrintable(log));
        // Nothing new starts once quitting; the file in progress is finished.
        QVERIFY(nelvo.linesStartingWith(QStringLiteral("Recording to ")).size() == 2);
        QVERIFY(lines.lastIndexOf(second) < quitting);
        QCOMPARE(lines.last(), QStringLiteral("Nelvo quit"));

        const QStringList movies = filesUnder(environment.home(), QStringLiteral("*.mov"));
        QCOMPARE(movies.size(), 2);
        for (const QString& movie : movies) {
            QVERIFY2(movie.contains(QStringLiteral("/Videos/Nelvo/")), qPrintable(movie));
            QVERIFY2(log.contains(QStringLiteral("Finished ") + movie), qPrintable(log));
            QVERIFY(QFile::exists(movie.chopped(4) + QStringLiteral(".jpg")));
            QCOMPARE(QFileInfo(movie).permissions() & 0x0077, QFileDevice::Permissions());
        }
        QCOMPARE(first, QStringLiteral("Finished ") + movies.at(0));
        QCOMPARE(second, QStringLiteral("Recording to ") + movies.at(1));

        // The crossing: pre-roll (5 s, from a keyframe at most 1 s later),
        // the 3 s crossing, and the 3 s timeout after its last trigger.
        const MovieProbe crossing(movies.at(0));
        QVERIFY2(crossing.readable(), qPrintable(crossing.errorText()));
        QCOMPARE(crossing.codec(QStringLiteral("video")), QStringLiteral("h264"));
        QCOMPARE(crossing.codec(QStringLiteral("audio")), QStringLiteral("aac"));
        QVERIFY(crossing.firstFrameIsKeyframe());
        QCOMPARE(crossing.firstTime("video").value_or(-1), 0.0);
        QVERIFY(crossing.timestampsMonotonic());
        const double span = crossing.videoSpan();
        QVERIFY2(span > 9.0 && span < 13.0, qPrintable(QString::number(span)));
        const double audioSpan =
            crossing.lastTime("audio").value_or(0) - crossing.firstTime("audio").value_or(0);
        QVERIFY2(std::abs(audioSpan - span) < 0.5, qPrintable(QString::number(audioSpan)));
        // From the trigger to the end: the crossing and the timeout.
        const qint64 recorded =
            nelvo.timeOf(first) - nelvo.timeOf(nelvo.linesStartingWith("Recording to ").at(0));
        QVERIFY2(recorded > 5000 && recorded < 9000, qPrintable(QString::number(recorded)));

        // Cut short by the quit: the pre-roll and little more, not the timeout.
        const MovieProbe cut(movies.at(1));
        QVERIFY2(cut.readable(), qPrintable(cut.errorText()));
        QVERIFY(cut.firstFrameIsKeyframe());
        QCOMPARE(cut.codec(QStringLiteral("audio")), QStringLiteral("aac"));
        QVERIFY2(cut.videoSpan() > 3.5 && cut.videoSpan() < 8.0,
                 qPrintable(QString::number(cut.videoSpan())));
    }

    // Killed while armed, Nelvo re-arms at the next launch, tells the user
    // when it stopped watching and keeps the armed stretch up to its last
    // heartbeat; logind and the notification daemon are real D-Bus services.
    void relaunchAfterACrashReArmsReportsTheGapAndKeepsTheStretch() {
        startQuittingRun();
        TestEnvironment environment;
        PrivateBus bus;
        QVERIFY(bus.isRunning());
        QVERIFY(bus.startTemplate(QStringLiteral("logind"), logindService));
        QVERIFY(bus.startTemplate(QStringLiteral("notification_daemon"), notificationService));

        std::optional<QDateTime> since;
        std::optional<QDateTime> lastSeen;
        {
            NelvoRun crashed({"--headless", "--demo", "--arm"});
            QVERIFY(crashed.startedOK());
            QVERIFY2(!crashed.waitForLine(QStringLiteral("State: arming"), 20000).isEmpty(),
                     qPrintable(crashed.log()));
            QTRY_VERIFY_WITH_TIMEOUT(
                Defaults(environment.settingsFilePath()).date(SettingsKeys::armedRecordLastSeen),
                10000);
            crashed.signal(SIGKILL);
            QVERIFY(crashed.waitForExit(5000));
            QCOMPARE(crashed.process().exitStatus(), QProcess::CrashExit);
            // As if it had been armed for an hour before it was killed: a
            // stretch that short with nothing recorded would leave no trace.
            Defaults left(environment.settingsFilePath());
            since = left.date(SettingsKeys::armedStretchSince);
            lastSeen = left.date(SettingsKeys::armedRecordLastSeen);
            QVERIFY(since && lastSeen);
            since = since->addSecs(-3600);
            left.set(SettingsKeys::armedStretchSince, *since);
            left.flush();
        }

        auto inhibitions = [&] {
            QList<QVariantList> calls;
            for (const auto& [method, arguments] :
                 bus.mockCalls(logindService, QStringLiteral("/org/freedesktop/login1"))) {
                if (method == u"Inhibit") {
                    calls << arguments;
                }
            }
            return calls;
        };
        const qsizetype inhibitionsBefore = inhibitions().size();
        NelvoRun relaunched({"--headless", "--demo"});
        QVERIFY(relaunched.startedOK());
        const QString arming = relaunched.waitForLine(QStringLiteral("State: arming"), 20000);
        QVERIFY2(!arming.isEmpty(), qPrintable(relaunched.log()));
        QCOMPARE(relaunched.waitForLine(QStringLiteral("Arming "), 5000),
                 QStringLiteral("Arming after a crash in 15 seconds"));

        // Re-armed, it keeps the computer awake through logind.
        QTRY_VERIFY_WITH_TIMEOUT(inhibitions().size() > inhibitionsBefore, 10000);
        QCOMPARE(inhibitions().last(),
                 (QVariantList{QStringLiteral("sleep:idle"), QStringLiteral("Nelvo"),
                               QStringLiteral("Nelvo is armed"), QStringLiteral("block")}));

        // The quit-unexpectedly notification, from the last heartbeat.
        auto quitNotices = [&] {
            QStringList summaries;
            for (const auto& [method, arguments] : bus.mockCalls(
                     notificationService, QStringLiteral("/org/freedesktop/Notifications"))) {
                if (method == u"Notify" &&
                    arguments.value(3).toString() == QStringLiteral("Nelvo quit unexpectedly")) {
                    summaries << arguments.value(4).toString();
                }
            }
            return summaries;
        };
        QTRY_COMPARE_WITH_TIMEOUT(quitNotices().size(), 1, 10000);
        QVERIFY2(quitNotices().first().startsWith(
                     QStringLiteral("Nelvo quit unexpectedly at %1 and wasn't watching until ")
                         .arg(QLocale().toString(lastSeen->time(), QLocale::ShortFormat))),
                 qPrintable(quitNotices().first()));

        // The stretch the crash interrupted is closed at the last heartbeat.
        // Settings reach the file from their own writer thread, so the file
        // may trail the notification by a moment.
        const auto keptStretch = [&] {
            const Defaults after(environment.settingsFilePath());
            return std::pair{after.date(SettingsKeys::armedStretchFrom).value_or(QDateTime()),
                             after.date(SettingsKeys::armedStretchTo).value_or(QDateTime())};
        };
        QTRY_COMPARE_WITH_TIMEOUT(keptStretch(), std::pair(*since, *lastSeen), 5000);

        // The 15 s countdown runs out before the state is armed.
        const QString armed = relaunched.waitForLine(QStringLiteral("State: armed"), 25000);
        QVERIFY2(!armed.isEmpty(), qPrintable(relaunched.log()));
        const qint64 countdown = relaunched.timeOf(armed) - relaunched.timeOf(arming);
        QVERIFY2(countdown > 13500 && countdown < 20000, qPrintable(QString::number(countdown)));

        relaunched.signal(SIGTERM);
        QVERIFY(relaunched.waitForExit(25000));
        QCOMPARE(relaunched.process().exitCode(), 0);
        QCOMPARE(relaunched.lines().last(), QStringLiteral("Nelvo quit"));
        // A clean quit leaves no heartbeat behind.
        QVERIFY(!Defaults(environment.settingsFilePath()).date(SettingsKeys::armedRecordLastSeen));
    }

    // One recording while armed, then a quit: the stretch is kept with the
    // recording the folder holds, however short it was.
    void quittingKeepsTheStretchWithItsRecording() {
        if (!quittingRun_) {
            startQuittingRun();  // run on its own
        }
        const TestEnvironment& environment = *quittingHome_;
        NelvoRun& nelvo = *quittingRun_;
        QVERIFY(nelvo.startedOK());
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("Finished "), 50000).isEmpty(),
                 qPrintable(nelvo.log()));
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("State: armed"), 5000, 1).isEmpty(),
                 qPrintable(nelvo.log()));
        nelvo.signal(SIGTERM);
        QVERIFY(nelvo.waitForExit(25000));
        QCOMPARE(nelvo.process().exitCode(), 0);
        QCOMPARE(nelvo.linesStartingWith(QStringLiteral("Recording to ")).size(), 1);

        const Defaults after(environment.settingsFilePath());
        const std::optional<ArmedStretch> last = ArmedStretch::last(after);
        QVERIFY2(last, qPrintable(nelvo.log()));
        QVERIFY(last->seconds() < 600);  // short: kept for its recording alone
        const FileOutputManager folder(environment.home() + QStringLiteral("/Videos/Nelvo"));
        const WhatHappened what{*last, WhatHappened::eventsOf(folder.recordings(), *last, 5.0)};
        const QString summary =
            WhatHappened::summaryText(what, QTimeZone::systemTimeZone(), QLocale(QLocale::English));
        QVERIFY2(summary.contains(QStringLiteral(": one recording at ")), qPrintable(summary));
    }

private:
    // The demo scene crosses 25 s and 45 s after launch. The run that quits
    // between the two starts with the function before it, which takes well
    // under 45 s and needs no crossing of its own, so the two wait together.
    void startQuittingRun() {
        quittingHome_ = std::make_unique<TestEnvironment>();
        writeSettings(*quittingHome_, "[General]\ntimeoutValueInSeconds=3\n");
        quittingRun_ = std::make_unique<NelvoRun>(QStringList{"--headless", "--demo", "--arm"});
    }

    // Declared in this order, the run ends before its home goes.
    std::unique_ptr<TestEnvironment> quittingHome_;
    std::unique_ptr<NelvoRun> quittingRun_;
};

QTEST_GUILESS_MAIN(tst_AppDelegate)
#include "tst_AppDelegate.moc"
