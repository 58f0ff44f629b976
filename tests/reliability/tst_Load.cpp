#include "HeadlessRig.h"
#include "TestEnvironment.h"

#include <QElapsedTimer>
#include <QTest>
#include <cmath>
#include <csignal>

using namespace HeadlessRig;

namespace {

const QString first = QStringLiteral("Load Camera 1");
const QString second = QStringLiteral("Load Camera 2");
const QString format = QStringLiteral(" 1280x720@30");

// How long the armed stretch lasts: NELVO_LOAD_SECONDS, 180 unless set.
int loadSeconds() {
    bool ok = false;
    const int given = qEnvironmentVariableIntValue("NELVO_LOAD_SECONDS", &ok);
    return ok && given > 0 ? given : 180;
}

// Frames a finished file lost, from the line Nelvo prints for it
// ("{file}: encoderBehind 3, writerRefused 1").
qint64 lostFrames(const QStringList& lines) {
    static const QRegularExpression count(QStringLiteral("[A-Za-z]+ (\\d+)"));
    qint64 lost = 0;
    for (const QString& line : lines) {
        if (!line.contains(QStringLiteral(".mov: "))) {
            continue;
        }
        const QString tally = line.mid(line.indexOf(QStringLiteral(".mov: ")) + 6);
        for (const QRegularExpressionMatch& match : count.globalMatch(tally)) {
            lost += match.captured(1).toLongLong();
        }
    }
    return lost;
}

}  // namespace

// Two 1280x720 cameras at 30 frames a second and the microphone, armed on
// this machine with a trigger every 20 s: every movie is whole, and the
// frames lost per minute are reported.
class tst_Load : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void twoHdCamerasAndTheMicrophoneArmedWithATriggerEveryTwentySeconds() {
        TestEnvironment environment;
        QuietRoom room;
        QVERIFY2(room.problem().isEmpty(), qPrintable(room.problem()));
        PluggedCameras cameras;
        QVERIFY(cameras.show(first, QStringLiteral("still") + format));
        QVERIFY(cameras.show(second, QStringLiteral("still") + format));
        QVariantHash settings = quickRecordings();
        settings.insert(SettingsKeys::selectedCameraID, first);
        settings.insert(SettingsKeys::secondCameraID, second);
        writeSettings(environment.settingsFilePath(), settings);

        NelvoRun nelvo({"--headless"});
        const LogOnFailure logOnFailure(nelvo);
        QVERIFY(nelvo.startedOK());
        QVERIFY2(armByCommand(nelvo), qPrintable(nelvo.log()));
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("State: armed"), 60000).isEmpty(),
                 qPrintable(nelvo.log()));

        const int seconds = loadSeconds();
        QElapsedTimer armed;
        armed.start();
        int triggers = 0;
        while (armed.elapsed() < qint64(seconds) * 1000) {
            // One second of motion in the first camera every 20 s.
            QVERIFY(cameras.show(first, QStringLiteral("moving") + format));
            nelvo.waitForLine(QStringLiteral("\x01"), 1000);
            QVERIFY(cameras.show(first, QStringLiteral("still") + format));
            ++triggers;
            const qint64 next = qint64(triggers) * 20000;
            nelvo.waitForLine(QStringLiteral("\x01"),
                              int(std::max<qint64>(0, next - armed.elapsed())));
        }
        nelvo.signal(SIGTERM);
        QVERIFY(nelvo.waitForExit(60000));
        QCOMPARE(nelvo.process().exitCode(), 0);

        // Every trigger recorded both cameras, and every movie is whole.
        const QStringList movies = moviesUnder(environment.home() + QStringLiteral("/Videos"));
        QVERIFY2(movies.size() >= 2 * triggers - 2, qPrintable(nelvo.log()));
        for (const QString& movie : movies) {
            QVERIFY2(movieProblem(movie).isEmpty(), qPrintable(movieProblem(movie)));
        }
        QCOMPARE(moviesUnder(environment.home()).filter(QStringLiteral(" - ") + second).size() * 2,
                 movies.size());

        const qint64 lost = lostFrames(nelvo.lines());
        const double minutes = double(armed.elapsed()) / 60000.0;
        qInfo("%lld movies, %lld frames lost in %.1f minutes armed: %.1f frames lost per minute",
              qint64(movies.size()), lost, minutes, double(lost) / minutes);
    }
};

QTEST_GUILESS_MAIN(tst_Load)
#include "tst_Load.moc"
