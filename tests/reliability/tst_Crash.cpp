#include "HeadlessRig.h"
#include "PrivateBus.h"
#include "PulseAudioServer.h"
#include "TestEnvironment.h"

#include <QElapsedTimer>
#include <QRandomGenerator>
#include <QTest>
#include <csignal>
#include <memory>

using namespace HeadlessRig;

namespace {

const QString notificationService = QStringLiteral("org.freedesktop.Notifications");

// Seeded, so a failing run can be repeated: NELVO_CRASH_SEED.
quint32 crashSeed() {
    bool ok = false;
    const quint32 given = qEnvironmentVariable("NELVO_CRASH_SEED").toUInt(&ok);
    return ok ? given : QRandomGenerator::global()->generate();
}

}  // namespace

// Nelvo killed outright while it records, again and again: what it was
// writing stays readable, it comes back armed by itself and says when it
// stopped watching, and no setting is lost.
class tst_Crash : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void killedAtTenRandomMomentsWhileRecording() {
        const quint32 seed = crashSeed();
        qInfo("Kill moments from seed %u (set NELVO_CRASH_SEED=%u to repeat them)", seed, seed);
        QRandomGenerator random(seed);

        TestEnvironment environment;
        PrivateBus bus;
        QVERIFY(bus.isRunning());
        QVERIFY(bus.startTemplate(QStringLiteral("notification_daemon"), notificationService));
        PulseAudioServer sound;
        QVERIFY2(sound.isRunning(), qPrintable(sound.problem()));
        QVERIFY(sound.loadNullSink(QStringLiteral("room"), QStringLiteral("Room")));
        sound.becomeDefaultForThisProcess();
        PluggedCameras cameras;
        QVERIFY(cameras.show(QStringLiteral("Crash Camera"), QStringLiteral("moving")));
        QVariantHash settings = quickRecordings();
        settings.insert(SettingsKeys::audioTriggerThreshold, 42);
        writeSettings(environment.settingsFilePath(), settings);

        constexpr int kills = 10;
        QStringList killedMovies;
        auto nelvo = std::make_unique<NelvoRun>(QStringList{"--headless", "--arm"});
        auto logOnFailure = std::make_unique<LogOnFailure>(*nelvo);
        QElapsedTimer sinceLaunch;
        sinceLaunch.start();
        for (int kill = 0; kill <= kills; ++kill) {
            QVERIFY(nelvo->startedOK());
            const QString arming = nelvo->waitForLine(QStringLiteral("Arming "), 60000);
            QCOMPARE(arming, kill == 0 ? QStringLiteral("Arming at launch in 15 seconds")
                                       : QStringLiteral("Arming after a crash in 15 seconds"));
            const QString recording = nelvo->waitForLine(QStringLiteral("Recording to "), 60000);
            QVERIFY2(!recording.isEmpty(), qPrintable(nelvo->log()));
            if (kill == kills) {
                break;  // the last run is quit as a user quits
            }

            // The random moment, reading the log meanwhile.
            nelvo->waitForLine(QStringLiteral("\x01"), int(random.bounded(300, 6000)));
            const double recordedFor =
                double(sinceLaunch.elapsed() - nelvo->timeOf(recording)) / 1000.0;
            nelvo->signal(SIGKILL);
            QVERIFY(nelvo->waitForExit(10000));
            QCOMPARE(nelvo->process().exitStatus(), QProcess::CrashExit);
            qInfo("Kill %d after %.1f s of recording", kill + 1, recordedFor);

            // The file being written reads up to its last whole fragment (2 s).
            const QString movie = pathOf(recording);
            killedMovies << movie;
            QVERIFY2(QFileInfo(movie).size() > 0, qPrintable(movie));
            const MovieProbe probe(movie);
            QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
            if (probe.frameCount() > 0) {
                QVERIFY2(movieProblem(movie).isEmpty(), qPrintable(movieProblem(movie)));
            }
            const double span = probe.frameCount() > 0 ? probe.videoSpan() : 0.0;
            QVERIFY2(span >= recordedFor - 3.0,
                     qPrintable(QStringLiteral("%1: %2 s readable of %3 s recorded")
                                    .arg(movie)
                                    .arg(span)
                                    .arg(recordedFor)));

            // Every setting survives, and the heartbeat tells the next launch.
            const Defaults left(environment.settingsFilePath());
            QCOMPARE(left.integer(SettingsKeys::audioTriggerThreshold), 42);
            QCOMPARE(left.integer(SettingsKeys::timeoutValueInSeconds), 2);
            QCOMPARE(left.integer(SettingsKeys::preRollSeconds), 1);
            QCOMPARE(left.real(SettingsKeys::motionTriggerThreshold), 3.0);
            QVERIFY(left.date(SettingsKeys::armedRecordLastSeen));

            logOnFailure.reset();
            nelvo = std::make_unique<NelvoRun>(QStringList{"--headless"});
            logOnFailure = std::make_unique<LogOnFailure>(*nelvo);
            sinceLaunch.start();
        }

        nelvo->signal(SIGTERM);
        QVERIFY(nelvo->waitForExit(30000));
        QCOMPARE(nelvo->process().exitCode(), 0);

        // Each relaunch told the user when it had stopped watching.
        auto quitNotices = [&] {
            int count = 0;
            for (const auto& [method, arguments] : bus.mockCalls(
                     notificationService, QStringLiteral("/org/freedesktop/Notifications"))) {
                count += method == u"Notify" &&
                         arguments.value(3).toString() == QStringLiteral("Nelvo quit unexpectedly");
            }
            return count;
        };
        QTRY_COMPARE_WITH_TIMEOUT(quitNotices(), kills, 10000);

        // Nothing on the disk is empty or unreadable, killed or finished.
        const QString folder = environment.home() + QStringLiteral("/Videos/Nelvo");
        QCOMPARE(moviesUnder(folder).size(), qsizetype(kills + 1));
        for (const QString& movie : moviesUnder(folder)) {
            QVERIFY2(QFileInfo(movie).size() > 0, qPrintable(movie));
            QVERIFY2(MovieProbe(movie).readable(), qPrintable(movie));
            if (!killedMovies.contains(movie)) {
                QVERIFY2(movieProblem(movie).isEmpty(), qPrintable(movieProblem(movie)));
            }
        }
        const Defaults after(environment.settingsFilePath());
        QCOMPARE(after.integer(SettingsKeys::audioTriggerThreshold), 42);
        QVERIFY(!after.date(SettingsKeys::armedRecordLastSeen));
    }
};

QTEST_GUILESS_MAIN(tst_Crash)
#include "tst_Crash.moc"
