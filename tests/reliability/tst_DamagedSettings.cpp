#include "HeadlessRig.h"
#include "TestEnvironment.h"

#include <unistd.h>
#include <QRandomGenerator>
#include <QSettings>
#include <QTest>
#include <csignal>

namespace {

QByteArray randomBytes(qsizetype size, quint32 seed) {
    QRandomGenerator random(seed);
    QByteArray bytes(size, Qt::Uninitialized);
    random.fillRange(reinterpret_cast<quint32*>(bytes.data()), size / 4);
    return bytes;
}

// Runs Nelvo on the damaged file until it arms, then quits it; its log.
QString runUntilArmed(QString* problem) {
    NelvoRun nelvo({"--headless", "--demo", "--arm"});
    if (!nelvo.startedOK()) {
        *problem = QStringLiteral("nelvo did not start");
        return {};
    }
    if (nelvo.waitForLine(QStringLiteral("State: arming"), 60000).isEmpty()) {
        *problem = QStringLiteral("nelvo did not arm:\n") + nelvo.log();
        return nelvo.log();
    }
    nelvo.signal(SIGTERM);
    if (!nelvo.waitForExit(30000) || nelvo.process().exitStatus() != QProcess::NormalExit ||
        nelvo.process().exitCode() != 0) {
        *problem = QStringLiteral("nelvo did not quit cleanly:\n") + nelvo.log();
    }
    return nelvo.log();
}

int settingsProblemLines(const QString& log) {
    return int(
        log.split(u'\n').filter(QRegularExpression(QStringLiteral("^The settings file "))).size());
}

}  // namespace

// A damaged settings file never stops Nelvo: it starts, keeps the file as it
// was, runs on its defaults and says so once.
class tst_DamagedSettings : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aDamagedFileIsKeptAndNelvoRunsOnDefaults_data() {
        QTest::addColumn<QByteArray>("content");
        const quint32 seed = QRandomGenerator::global()->generate();
        qInfo("Random settings files from seed %u", seed);
        QTest::newRow("random bytes") << randomBytes(4096, seed);
        QTest::newRow("50 MB of garbage") << randomBytes(50 * 1024 * 1024, seed + 1);
    }
    void aDamagedFileIsKeptAndNelvoRunsOnDefaults() {
        QFETCH(QByteArray, content);
        TestEnvironment environment;
        const QString path = environment.settingsFilePath();
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            QCOMPARE(file.write(content), content.size());
        }

        QString problem;
        const QString log = runUntilArmed(&problem);
        QVERIFY2(problem.isEmpty(), qPrintable(problem));
        QCOMPARE(settingsProblemLines(log), 1);
        const QString kept = path + QStringLiteral(".unreadable");
        QVERIFY2(log.contains(QStringLiteral("The settings file %1 could not be read; a copy is "
                                             "kept as %2")
                                  .arg(path, kept)),
                 qPrintable(log));
        QFile copy(kept);
        QVERIFY(copy.open(QIODevice::ReadOnly));
        QVERIFY(copy.readAll() == content);

        // The file Nelvo went on with holds its first-launch values and reads cleanly.
        QSettings after(path, QSettings::IniFormat);
        QCOMPARE(after.status(), QSettings::NoError);
        QCOMPARE(after.value(SettingsKeys::timeoutValueInSeconds).toInt(), 5);

        // The copy is made once: a second start on a sound file says nothing.
        QString again;
        const QString secondLog = runUntilArmed(&again);
        QVERIFY2(again.isEmpty(), qPrintable(again));
        QCOMPARE(settingsProblemLines(secondLog), 0);
    }

    // A file cut short inside the crash heartbeat's date, as a power cut
    // while it was written leaves it: the lines before the cut keep their
    // values, and the damaged heartbeat counts as none, so Nelvo arms as
    // asked instead of reporting a crash at a made-up time.
    void aFileCutShortKeepsWhatPrecedesTheCut_data() {
        QTest::addColumn<QByteArray>("content");
        const QByteArray whole(
            "[General]\ntimeoutValueInSeconds=7\nvalidateFirstlaunch=false\n"
            "armedRecordLastSeen=@DateTime(\\0\\0\\0\\x10\\0\\0\\0\\0\\0\\0%\\x8e\\xba"
            "\\x3\\xa4\\x83\\xbd\\0)\n");
        QTest::newRow("cut in the date") << whole.left(whole.indexOf("%"));
        QTest::newRow("cut with a binary tail")
            << whole.left(whole.indexOf("%")) + QByteArray("\0\x01\xff\xfe\0", 5);
    }
    void aFileCutShortKeepsWhatPrecedesTheCut() {
        QFETCH(QByteArray, content);
        TestEnvironment environment;
        const QString path = environment.settingsFilePath();
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            QCOMPARE(file.write(content), content.size());
        }
        QString problem;
        const QString log = runUntilArmed(&problem);
        QVERIFY2(problem.isEmpty(), qPrintable(problem));
        QVERIFY2(log.contains(QStringLiteral("\nArming at launch in 15 seconds\n")),
                 qPrintable(log));
        QVERIFY2(settingsProblemLines(log) <= 1, qPrintable(log));
        QSettings after(path, QSettings::IniFormat);
        QCOMPARE(after.status(), QSettings::NoError);
        QCOMPARE(after.value(SettingsKeys::timeoutValueInSeconds).toInt(), 7);
    }

    // A folder where the file should be: Nelvo runs on defaults, leaves the
    // folder and what is in it alone, and says once that it cannot use it.
    void aFolderInTheFilesPlaceIsLeftAloneAndTheRunGoesOn() {
        TestEnvironment environment;
        const QString path = environment.settingsFilePath();
        QVERIFY(QDir().mkpath(path));
        QFile inside(path + QStringLiteral("/keep.txt"));
        QVERIFY(inside.open(QIODevice::WriteOnly));
        inside.write("the user's");
        inside.close();

        QString problem;
        const QString log = runUntilArmed(&problem);
        QVERIFY2(problem.isEmpty(), qPrintable(problem));
        QCOMPARE(settingsProblemLines(log), 1);
        QVERIFY(QFileInfo(path).isDir());
        QVERIFY(inside.open(QIODevice::ReadOnly));
        QCOMPARE(inside.readAll(), QByteArray("the user's"));
    }

    // Run as a plain user: a file Nelvo may not read is neither replaced nor
    // lost, and Nelvo runs on defaults, saying so once.
    void aFileNelvoMayNotReadIsKeptAndTheRunGoesOn() {
        if (geteuid() == 0) {
            QSKIP("root reads any file; the unprivileged run checks this");
        }
        TestEnvironment environment;
        const QString path = environment.settingsFilePath();
        QVERIFY(QDir().mkpath(QFileInfo(path).path()));
        const QByteArray content("[General]\ntimeoutValueInSeconds=9\nvalidateFirstlaunch=false\n");
        {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(content);
        }
        QVERIFY(QFile::setPermissions(path, QFileDevice::WriteOwner));

        QString problem;
        const QString log = runUntilArmed(&problem);
        QVERIFY2(problem.isEmpty(), qPrintable(problem));
        QCOMPARE(settingsProblemLines(log), 1);
        QVERIFY(QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), content);
    }
};

QTEST_GUILESS_MAIN(tst_DamagedSettings)
#include "tst_DamagedSettings.moc"
