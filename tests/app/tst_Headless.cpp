#include "MovieProbe.h"
#include "TestEnvironment.h"

#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTest>

// `nelvo --headless --demo --arm` end to end: arming at launch, the demo
// scene's crossing recorded with its pre-roll, the state sequence in the log.
class tst_Headless : public QObject {
    Q_OBJECT

    static QStringList filesUnder(const QString& folder, const QString& pattern) {
        QStringList found;
        QDirIterator it(folder, {pattern}, QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext()) {
            found << it.next();
        }
        return found;
    }

private Q_SLOTS:
    void armsAtLaunchAndRecordsTheDemoCrossing() {
        TestEnvironment environment;
        QDir().mkpath(QFileInfo(environment.settingsFilePath()).path());
        QFile settings(environment.settingsFilePath());
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write("[General]\ntimeoutValueInSeconds=3\n");
        settings.close();

        QProcess nelvo;
        nelvo.setProcessChannelMode(QProcess::MergedChannels);
        nelvo.start(QStringLiteral(NELVO_EXECUTABLE), {"--headless", "--demo", "--arm"});
        QVERIFY(nelvo.waitForStarted());
        QString log;
        // Armed 15 s after launch; the demo object crosses at 25-28 s of the
        // scene; the recording ends 3 s after the last trigger.
        QElapsedTimer waited;
        waited.start();
        while (!log.contains(QStringLiteral("Finished ")) && waited.elapsed() < 50000) {
            nelvo.waitForReadyRead(500);
            log += QString::fromUtf8(nelvo.readAll());
        }
        QVERIFY2(log.contains(QStringLiteral("Finished ")), qPrintable(log));
        nelvo.terminate();
        QVERIFY(nelvo.waitForFinished(20000));
        log += QString::fromUtf8(nelvo.readAll());
        QCOMPARE(nelvo.exitStatus(), QProcess::NormalExit);
        QVERIFY2(log.contains(QStringLiteral("Nelvo quit")), qPrintable(log));

        QStringList states;
        for (const QString& line : log.split(u'\n')) {
            if (line.startsWith(QStringLiteral("State: "))) {
                states << line.mid(7);
            }
        }
        QCOMPARE(states.mid(0, 5),
                 QStringList({"unarmed", "arming", "armed", "recording", "armed"}));

        const QStringList movies = filesUnder(environment.home(), QStringLiteral("*.mov"));
        QCOMPARE(movies.size(), 1);
        QVERIFY2(movies.first().contains(QStringLiteral("/Nelvo/")), qPrintable(movies.first()));
        QVERIFY(log.contains(QStringLiteral("Finished ") + movies.first()));
        QCOMPARE(filesUnder(environment.home(), QStringLiteral("*.jpg")).size(), 1);

        MovieProbe probe(movies.first());
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec(QStringLiteral("video")), QStringLiteral("h264"));
        QCOMPARE(probe.codec(QStringLiteral("audio")), QStringLiteral("aac"));
        QVERIFY(probe.firstFrameIsKeyframe());
        // Pre-roll (5 s, from a keyframe at most 1 s later) + the crossing
        // (3 s) + the timeout (3 s) after its last trigger.
        const double duration = probe.videoSpan();
        QVERIFY2(duration > 9.0 && duration < 13.0, qPrintable(QString::number(duration)));
    }
};

QTEST_GUILESS_MAIN(tst_Headless)
#include "tst_Headless.moc"
