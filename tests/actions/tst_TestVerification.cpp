#include "MovieProbe.h"
#include "NelvoRun.h"
#include "PrivateBus.h"
#include "TestEnvironment.h"
#include "TestVerdict.h"

#include <QDir>
#include <QFile>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

namespace {

struct CommandRun {
    int exitCode = -1;
    QStringList lines;
};

CommandRun nelvoCommand(const QStringList& arguments, int timeoutMs) {
    QProcess process;
    process.start(QStringLiteral(NELVO_EXECUTABLE), arguments);
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        return {};
    }
    return {process.exitCode(),
            QString::fromUtf8(process.readAllStandardOutput()).split(u'\n', Qt::SkipEmptyParts)};
}

void writeSettings(const TestEnvironment& environment, const QByteArray& text) {
    QDir().mkpath(QFileInfo(environment.settingsFilePath()).path());
    QFile settings(environment.settingsFilePath());
    QVERIFY(settings.open(QIODevice::WriteOnly));
    settings.write(text);
}

// Motion and sound that can trigger, on thresholds no scene reaches: the
// test's recording is the only one, and the verdict explains both thresholds.
const QByteArray unreachableThresholds =
    "[General]\nvalidateFirstlaunch=false\nmotionTriggerEnabled=true\n"
    "motionTriggerThreshold=5000\naudioTriggerEnabled=true\naudioTriggerThreshold=100\n"
    "preRollSeconds=3\ntimeoutValueInSeconds=2\n";

const QRegularExpression movieLine(QStringLiteral(
    "^(.+\\.mov): (\\d+\\.\\d\\d) s long; first keyframe at 0\\.000 s; video starts at 0\\.000 s, "
    "(audio at (\\d+\\.\\d{3}) s|no audio); (no frames lost|1 frame lost|(\\d+) frames lost); "
    "pre-roll (\\d+\\.\\d\\d) s of the 3 s asked for: covered\\.$"));
const QRegularExpression motionLine(QStringLiteral(
    "^Motion peaked at (\\d+); the threshold is 5000: it would not have "
    "triggered\\. Lower it to (\\d+) or draw a zone around where people appear\\.$"));
const QRegularExpression soundLine(
    QStringLiteral("^Sound peaked at (\\d+); the threshold is 100: it would not have triggered\\. "
                   "Lower it to (\\d+) or move the microphone closer to where things happen\\.$"));

// Frames missing from presentation times in seconds, as ffprobe reads them:
// each spacing of n times the median spacing stands for n - 1 lost frames.
int framesMissing(QList<double> times) {
    std::sort(times.begin(), times.end());
    QList<double> spacings;
    for (qsizetype i = 1; i < times.size(); ++i) {
        spacings << times[i] - times[i - 1];
    }
    if (spacings.size() < 2) {
        return 0;
    }
    QList<double> sorted = spacings;
    std::sort(sorted.begin(), sorted.end());
    const double usual = sorted[sorted.size() / 2];
    int missing = 0;
    for (const double spacing : spacings) {
        missing += std::max(0, int(std::lround(spacing / usual)) - 1);
    }
    return missing;
}

}  // namespace

// `nelvo test --verify` end to end: a headless Nelvo records the test, the
// command reads the movie back and judges it, and ffprobe checks the figures
// it printed.
class tst_TestVerification : public QObject {
    Q_OBJECT

private:
    PrivateBus bus_;

    void useTheTestsBus() { qputenv("DBUS_SESSION_BUS_ADDRESS", bus_.address().toUtf8()); }

    // Runs the verification against a Nelvo started with `arguments`;
    // returns the lines printed, after checking the movie line with ffprobe.
    QStringList verify(const QStringList& arguments, bool withAudio) {
        NelvoRun nelvo(arguments);
        [&] {
            QVERIFY(nelvo.startedOK());
            QVERIFY2(!nelvo.waitForLine(QStringLiteral("Devices: "), 30000).isEmpty(),
                     qPrintable(nelvo.log()));
        }();
        const CommandRun run = nelvoCommand({"test", "--verify"}, 120000);
        nelvo.waitForLine(QStringLiteral("State: unarmed"), 100);
        [&] {
            QVERIFY2(run.lines.size() == (withAudio ? 5 : 4),
                     qPrintable(run.lines.join(u'\n') + u'\n' + nelvo.log()));
            QCOMPARE(run.lines.at(0), QStringLiteral("Nelvo is recording a test."));
            const QRegularExpressionMatch movie = movieLine.match(run.lines.at(1));
            QVERIFY2(movie.hasMatch(), qPrintable(run.lines.at(1)));

            const QString moviePath =
                QDir::homePath() + QStringLiteral("/Videos/Nelvo/") + movie.captured(1);
            const MovieProbe probe(moviePath);
            QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
            QVERIFY(probe.firstFrameIsKeyframe());
            QCOMPARE(probe.firstTime().value_or(-1), 0.0);
            QVERIFY2(std::abs(probe.duration() - movie.captured(2).toDouble()) < 0.1,
                     qPrintable(QString::number(probe.duration())));
            if (withAudio) {
                QVERIFY2(std::abs(probe.firstTime(QStringLiteral("audio")).value_or(-1) -
                                  movie.captured(4).toDouble()) < 0.002,
                         qPrintable(run.lines.at(1)));
            } else {
                QCOMPARE(movie.captured(3), QStringLiteral("no audio"));
                QVERIFY(probe.codec(QStringLiteral("audio")).isEmpty());
            }
            // At least the pre-roll asked for, and about a keyframe's spacing more at most.
            const double preRoll = movie.captured(7).toDouble();
            QVERIFY2(preRoll >= 3.0 && preRoll < 4.5, qPrintable(run.lines.at(1)));

            // A loaded machine may make the camera lose frames: the verdict must
            // then say how many the movie lacks, as ffprobe finds it, and fail.
            const int lost = movie.captured(6).isEmpty()
                                 ? (movie.captured(5).startsWith('1') ? 1 : 0)
                                 : movie.captured(6).toInt();
            QCOMPARE(lost, framesMissing(probe.times()));
            QCOMPARE(run.lines.at(2),
                     lost == 0 ? QStringLiteral("Every movie of the test is sound.")
                               : QStringLiteral("Not every movie of the test is sound."));
            QCOMPARE(run.exitCode, lost == 0 ? 0 : 1);
            if (lost > 0) {
                qWarning("The test movie lost %d frames (the machine is loaded)", lost);
            }

            const QRegularExpressionMatch motion = motionLine.match(run.lines.at(3));
            QVERIFY2(motion.hasMatch(), qPrintable(run.lines.at(3)));
            QCOMPARE(motion.captured(2).toInt(),
                     TestVerdict::suggestedThreshold(motion.captured(1).toInt()).value_or(-1));
            if (withAudio) {
                const QRegularExpressionMatch sound = soundLine.match(run.lines.at(4));
                QVERIFY2(sound.hasMatch(), qPrintable(run.lines.at(4)));
                QCOMPARE(sound.captured(2).toInt(),
                         TestVerdict::suggestedThreshold(sound.captured(1).toInt()).value_or(-1));
            }
        }();
        nelvo.signal(SIGTERM);
        nelvo.waitForExit(25000);
        return run.lines;
    }

private Q_SLOTS:
    void initTestCase() { QVERIFY(bus_.isRunning()); }

    void theDemoCamerasTestIsSound() {
        TestEnvironment environment;
        useTheTestsBus();
        writeSettings(environment, unreachableThresholds);
        verify({"--headless", "--demo"}, true);
    }

    void aVideoFileCamerasTestIsSound() {
        TestEnvironment environment;
        useTheTestsBus();
        writeSettings(environment, unreachableThresholds);
        const QString clip = environment.home() + QStringLiteral("/clip.mp4");
        QProcess encode;
        encode.start(QStringLiteral("ffmpeg"),
                     {"-loglevel", "error", "-f", "lavfi", "-i",
                      "testsrc=duration=4:size=320x240:rate=25", "-c:v", "mpeg4", clip});
        QVERIFY(encode.waitForFinished(30000));
        QCOMPARE(encode.exitCode(), 0);
        verify({"--headless", "--camera-file", clip}, false);
    }

    void aRefusedTestIsNotVerified() {
        TestEnvironment environment;
        useTheTestsBus();
        writeSettings(environment,
                      "[General]\nvalidateFirstlaunch=false\nmotionTriggerEnabled=false\n"
                      "audioTriggerEnabled=false\n");
        NelvoRun nelvo({"--headless", "--demo"});
        QVERIFY(nelvo.startedOK());
        QVERIFY(!nelvo.waitForLine(QStringLiteral("Devices: "), 30000).isEmpty());
        const CommandRun run = nelvoCommand({"test", "--verify"}, 30000);
        QCOMPARE(run.lines, QStringList{"Nelvo can't record a test right now."});
        QCOMPARE(run.exitCode, 1);
        nelvo.signal(SIGTERM);
        QVERIFY(nelvo.waitForExit(25000));
    }
};

QTEST_GUILESS_MAIN(tst_TestVerification)
#include "tst_TestVerification.moc"
