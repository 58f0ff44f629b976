#include "MovieCheck.h"
#include "MovieProbe.h"

#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

namespace {

// A QuickTime movie made by ffmpeg from `filters` on a test picture and tone.
bool makeMovie(const QString& path, const QString& videoFilter, bool withAudio) {
    QStringList arguments{
        "-y", "-loglevel", "error", "-f", "lavfi", "-i", "testsrc=duration=2:size=160x120:rate=10"};
    if (withAudio) {
        arguments << "-f"
                  << "lavfi"
                  << "-i"
                  << "sine=duration=2"
                  << "-c:a"
                  << "aac";
    }
    if (!videoFilter.isEmpty()) {
        arguments << "-vf" << videoFilter << "-fps_mode"
                  << "passthrough";
    }
    arguments << "-c:v"
              << "libx264"
              << "-bf"
              << "0" << path;
    QProcess ffmpeg;
    ffmpeg.start(QStringLiteral("ffmpeg"), arguments);
    return ffmpeg.waitForFinished(60000) && ffmpeg.exitCode() == 0;
}

}  // namespace

// A movie read back as a player finds it.
class tst_MovieCheck : public QObject {
    Q_OBJECT

private:
    QTemporaryDir dir_;

private Q_SLOTS:
    void aWholeMovieIsDescribed() {
        const QString path = dir_.filePath(QStringLiteral("whole.mov"));
        QVERIFY(makeMovie(path, {}, true));
        const MovieCheck::Facts facts = MovieCheck::read(path);
        QVERIFY2(!facts.problem, qPrintable(facts.problem.value_or(QString())));
        const MovieProbe probe(path);
        QVERIFY(std::abs(facts.lengthSeconds - probe.duration()) < 0.05);
        QCOMPARE(facts.firstKeyframeSeconds.value_or(-1), 0.0);
        QCOMPARE(facts.videoStartSeconds.value_or(-1), probe.firstTime().value_or(-2));
        // The encoder's priming samples lie before 0 and the movie's edit list
        // cuts them: the audio a player plays begins at 0.
        QVERIFY(std::abs(facts.audioStartSeconds.value_or(-1)) < 0.001);
        QCOMPARE(facts.videoFrames, qint64(probe.frameCount()));
        QCOMPARE(facts.framesLost, 0);
    }

    void framesMissingFromTheTimestampsAreCounted() {
        const QString path = dir_.filePath(QStringLiteral("gap.mov"));
        QVERIFY(makeMovie(path, QStringLiteral("select='not(between(n\\,5\\,7))'"), false));
        const MovieCheck::Facts facts = MovieCheck::read(path);
        QVERIFY(!facts.problem);
        QCOMPARE(facts.videoFrames, 17);
        QCOMPARE(facts.framesLost, 3);
        QVERIFY(!facts.audioStartSeconds);
    }

    void whatCannotBeReadSaysWhy() {
        QVERIFY(MovieCheck::read(dir_.filePath(QStringLiteral("absent.mov"))).problem);
        const QString junk = dir_.filePath(QStringLiteral("junk.mov"));
        QFile file(junk);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(QByteArray(4096, 'x'));
        file.close();
        QVERIFY(MovieCheck::read(junk).problem);
    }

    void theUsualSpacingIsTheMedian() {
        const qint64 frame = 33'333'333;
        std::vector<qint64> times;
        for (qint64 i : {0, 1, 2, 3, 6, 7, 8, 9, 10, 12}) {
            times.push_back(i * frame + (i % 2) * 1'000'000);  // jitter of a millisecond
        }
        QCOMPARE(MovieCheck::framesMissing(times), 3);
        QCOMPARE(MovieCheck::framesMissing({0, frame}), 0);
    }
};

QTEST_GUILESS_MAIN(tst_MovieCheck)
#include "tst_MovieCheck.moc"
