#include "NelvoRun.h"
#include "PrivateBus.h"
#include "TestEnvironment.h"
#include "TestMount.h"

#include <QDateTime>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTest>

namespace {

struct CommandRun {
    int exitCode = -1;
    QString output;
};

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

const QString firstFailure =
    QStringLiteral("1 recording wasn't saved: there's no room left where recordings go");
const QRegularExpression failureSentence(QStringLiteral(
    "^(1 recording wasn't saved|\\d+ recordings in a row weren't saved): there's no room left "
    "where recordings go"));

}  // namespace

// A headless Nelvo whose recordings folder is on a nearly full file system
// (a small tmpfs, far below the 2 GiB floor) says so: in its log, once per
// change, in `nelvo status` and in `nelvo watch`.
class tst_RecordingFailureReport : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aFullFolderIsLoggedAndReported() {
        if (!TestMount::canMount()) {
            QSKIP("Mounting a small file system needs root");
        }
        TestEnvironment environment;
        PrivateBus bus;
        QVERIFY(bus.isRunning());
        const QString folder = environment.home() + QStringLiteral("/Videos/Nelvo");
        QVERIFY(QDir().mkpath(folder));
        TestMount mount;
        QVERIFY(mount.mountMemory(QStringLiteral("tmpfs"), folder,
                                  QStringLiteral("size=16m,mode=0700")));
        QDir().mkpath(QFileInfo(environment.settingsFilePath()).path());
        QFile settings(environment.settingsFilePath());
        QVERIFY(settings.open(QIODevice::WriteOnly));
        // The demo camera's moving scene passes this threshold all the time.
        settings.write(
            "[General]\nvalidateFirstlaunch=false\nmotionTriggerEnabled=true\n"
            "motionTriggerThreshold=1\naudioTriggerEnabled=false\n");
        settings.close();

        NelvoRun nelvo({"--headless", "--demo"});
        QVERIFY(nelvo.startedOK());
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("Devices: "), 30000).isEmpty(),
                 qPrintable(nelvo.log()));
        QProcess plainWatch;
        QProcess jsonWatch;
        plainWatch.start(QStringLiteral(NELVO_EXECUTABLE), {"watch"});
        jsonWatch.start(QStringLiteral(NELVO_EXECUTABLE), {"watch", "--json"});
        QTRY_VERIFY_WITH_TIMEOUT(plainWatch.canReadLine() && jsonWatch.canReadLine(), 15000);
        QCOMPARE(nelvoCommand({"arm"}).exitCode, 0);

        // Logged with the popover's sentence, once, however often it repeats.
        QVERIFY2(nelvo.waitForLine(firstFailure, 40000) == firstFailure, qPrintable(nelvo.log()));
        QTest::qWait(3000);
        nelvo.waitForLine(QStringLiteral("State: never"), 100);  // reads the log so far
        int told = 0;
        for (const QString& line : nelvo.lines()) {
            told += failureSentence.match(line).hasMatch() ? 1 : 0;
        }
        QVERIFY2(told == 1, qPrintable(nelvo.log()));

        // The status, as JSON and in plain words.
        CommandRun run = nelvoCommand({"status", "--json"});
        QCOMPARE(run.exitCode, 0);
        const QJsonObject failure = QJsonDocument::fromJson(run.output.toUtf8())
                                        .object()
                                        .value(QStringLiteral("recordingFailure"))
                                        .toObject();
        QCOMPARE(failure.value(QStringLiteral("failure")).toString(), QStringLiteral("diskFull"));
        QVERIFY(failure.value(QStringLiteral("count")).toInteger() >= 1);
        const QDateTime at = QDateTime::fromString(failure.value(QStringLiteral("at")).toString(),
                                                   Qt::ISODateWithMs);
        QVERIFY2(at.isValid() && at.secsTo(QDateTime::currentDateTime()) < 60,
                 qPrintable(run.output));
        QVERIFY(
            failureSentence.match(failure.value(QStringLiteral("notice")).toString()).hasMatch());
        run = nelvoCommand({"status"});
        QCOMPARE(run.exitCode, 0);
        const QStringList lines = run.output.split(u'\n', Qt::SkipEmptyParts);
        QVERIFY2(failureSentence.match(lines.last()).hasMatch() &&
                     lines.last().contains(QStringLiteral(" (the last at ")),
                 qPrintable(run.output));

        // Both watches told the failure as it came.
        nelvo.signal(SIGTERM);
        QVERIFY(nelvo.waitForExit(25000));
        QVERIFY(plainWatch.waitForFinished(10000));
        QVERIFY(jsonWatch.waitForFinished(10000));
        const QStringList plain =
            QString::fromUtf8(plainWatch.readAllStandardOutput()).split(u'\n');
        const QRegularExpression toldInPlain(QRegularExpression::escape(firstFailure) +
                                             QStringLiteral(" \\(the last at [^)]+\\)"));
        QVERIFY2(plain.indexOf(toldInPlain) >= 0, qPrintable(plain.join(u'\n')));
        bool jsonTold = false;
        for (const QString& line :
             QString::fromUtf8(jsonWatch.readAllStandardOutput()).split(u'\n')) {
            const QJsonObject event = QJsonDocument::fromJson(line.toUtf8()).object();
            if (event.value(QStringLiteral("event")).toString() == QStringLiteral("failure")) {
                jsonTold = event.value(QStringLiteral("failure")).toString() == "diskFull" &&
                           event.value(QStringLiteral("count")).toInteger() == 1 &&
                           event.value(QStringLiteral("notice")).toString() == firstFailure;
                break;
            }
        }
        QVERIFY(jsonTold);
    }
};

QTEST_GUILESS_MAIN(tst_RecordingFailureReport)
#include "tst_RecordingFailureReport.moc"
