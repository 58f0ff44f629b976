// `nelvo timelapse` run as a user runs it, on a home of the test's own that
// holds a recorded armed stretch.
#include "Defaults.h"
#include "MovieProbe.h"
#include "SettingsKeys.h"
#include "StretchMovies.h"
#include "TestEnvironment.h"

#include <sys/stat.h>
#include <unistd.h>
#include <QDir>
#include <QProcess>
#include <QStandardPaths>
#include <QTest>
#include <QTimeZone>

namespace {

struct Run {
    int status = -1;
    QString out;
    QString err;
};

Run timelapse(const QStringList& extra = {}) {
    QProcess process;
    process.start(QStringLiteral(NELVO_EXECUTABLE), QStringList{"timelapse"} + extra);
    Run run;
    if (!process.waitForFinished(120000)) {
        process.kill();
        return run;
    }
    run.status = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

QDateTime at(int hour, int minute) {
    return QDateTime(QDate(2024, 5, 1), QTime(hour, minute), QTimeZone::systemTimeZone());
}

}  // namespace

class tst_TimeLapseCommand : public QObject {
    Q_OBJECT

    std::unique_ptr<TestEnvironment> environment_;
    std::unique_ptr<StretchMovies> movies_;

    QString recordingsFolder() const {
        return QStandardPaths::writableLocation(QStandardPaths::MoviesLocation) +
               QStringLiteral("/Nelvo");
    }

    void storeStretch(const QDateTime& from, const QDateTime& to) {
        Defaults defaults(Defaults::standardFilePath());
        defaults.set(SettingsKeys::armedStretchFrom, from);
        defaults.set(SettingsKeys::armedStretchTo, to);
    }

private Q_SLOTS:
    void init() {
        environment_ = std::make_unique<TestEnvironment>();
        if (!movies_) {
            movies_ = std::make_unique<StretchMovies>(StretchMovies::Options{});
        }
        QVERIFY(QDir().mkpath(recordingsFolder()));
    }

    void withoutAStretchThereIsNothingToMake() {
        const Run run = timelapse();
        QCOMPARE(run.status, 1);
        QVERIFY(run.err.contains(QStringLiteral("no armed stretch")));
    }

    void unknownArgumentsAreRefused() {
        const Run run = timelapse({"--now"});
        QCOMPARE(run.status, 2);
        QVERIFY(run.err.contains(QStringLiteral("Usage: nelvo timelapse")));
    }

    void theLastStretchBecomesAMovieInTheRecordingsFolder() {
        QVERIFY(movies_->record(recordingsFolder(), at(22, 20), "Front Door", "Desk Mic", 9));
        QVERIFY(movies_->record(recordingsFolder(), at(22, 40), "Front Door", "Desk Mic", 5));
        // A recording after the stretch stays out of it.
        QVERIFY(movies_->record(recordingsFolder(), at(23, 30), "Front Door", "Desk Mic", 5));
        storeStretch(at(22, 15), at(23, 0));
        const Run run = timelapse();
        QVERIFY2(run.status == 0, qPrintable(run.err));
        const QStringList lines = run.out.split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.size(), 2);
        // One line rewritten as the work goes on, ending at 100%.
        QVERIFY(lines[0].startsWith(QStringLiteral("\rMaking the time-lapse: ")));
        QVERIFY(lines[0].endsWith(QStringLiteral("\rMaking the time-lapse: 100%")));
        const QString expected =
            recordingsFolder() + QStringLiteral("/What happened 2024-05-01 22.15 to 23.00.mov");
        QCOMPARE(lines[1], expected);
        // Two stills, five pictures of the first movie and three of the second.
        const MovieProbe probe(expected);
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.frameCount(), 10);
        QVERIFY(qAbs(probe.duration() - 2.5) < 1e-3);
    }

    void aStretchOfUnreadableFilesIsReported() {
        QFile empty(recordingsFolder() + QStringLiteral("/2024-05-01 22.20.00 - Cam + Mic.mov"));
        QVERIFY(empty.open(QIODevice::WriteOnly));
        empty.close();
        storeStretch(at(22, 15), at(23, 0));
        const QStringList before =
            QDir(recordingsFolder()).entryList(QDir::AllEntries | QDir::Hidden);
        const Run run = timelapse();
        QCOMPARE(run.status, 3);
        QVERIFY(run.err.contains(
            QStringLiteral("Nothing in that stretch could be read, so no time-lapse was made")));
        QCOMPARE(QDir(recordingsFolder()).entryList(QDir::AllEntries | QDir::Hidden), before);
    }

    // Run again as a plain user, for whom permissions count.
    void aFolderThatCannotBeWrittenIsReported() {
        QVERIFY(movies_->record(recordingsFolder(), at(22, 20), "Front Door", "Desk Mic", 3));
        storeStretch(at(22, 15), at(23, 0));
        const QByteArray folder = QFile::encodeName(recordingsFolder());
        QVERIFY(::chmod(folder.constData(), 0500) == 0);
        const Run run = timelapse();
        ::chmod(folder.constData(), 0700);
        if (::geteuid() == 0) {
            QCOMPARE(run.status, 0);  // root writes anyway
            return;
        }
        QCOMPARE(run.status, 4);
        QVERIFY2(run.err.contains(
                     QStringLiteral("Time-lapse not written: couldn't open a movie file in Nelvo")),
                 qPrintable(run.err));
    }
};

QTEST_GUILESS_MAIN(tst_TimeLapseCommand)
#include "tst_TimeLapseCommand.moc"
