#include "TestVerdict.h"

#include <QTest>

namespace {

MovieCheck::Facts soundFacts() {
    MovieCheck::Facts facts;
    facts.lengthSeconds = 10.466;
    facts.firstKeyframeSeconds = 0;
    facts.videoStartSeconds = 0;
    facts.audioStartSeconds = 0.021;
    facts.videoFrames = 314;
    return facts;
}

QVariantMap camera(double peak, double threshold, bool enabled = true) {
    return {{"name", "Desk"},
            {"motionPeak", peak},
            {"motionThreshold", threshold},
            {"motionTriggerEnabled", enabled}};
}

QVariantMap microphone(double peak, double threshold) {
    return {{"name", "Mic"},
            {"soundPeak", peak},
            {"soundThreshold", threshold},
            {"soundTriggerEnabled", true}};
}

const QString name = QStringLiteral("2026-11-25 17.02.03 - Desk + Mic.mov");

}  // namespace

// What `nelvo test --verify` says of a test's movies and levels.
class tst_TestVerdict : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aSoundMovieIsDescribedInOneLine() {
        const TestVerdict verdict({{name, soundFacts(), 5.03}}, 5, {}, {});
        QVERIFY(verdict.sound());
        QCOMPARE(verdict.lines(),
                 (QStringList{name + ": 10.47 s long; first keyframe at 0.000 s; video starts at "
                                     "0.000 s, audio at 0.021 s; no frames lost; pre-roll 5.03 s "
                                     "of the 5 s asked for: covered.",
                              "Every movie of the test is sound."}));
    }

    void eachFaultMakesTheMovieUnsound() {
        MovieCheck::Facts late = soundFacts();
        late.firstKeyframeSeconds = 0.5;
        MovieCheck::Facts lossy = soundFacts();
        lossy.framesLost = 3;
        MovieCheck::Facts silent = soundFacts();
        silent.audioStartSeconds.reset();
        MovieCheck::Facts broken;
        broken.problem = QStringLiteral("it has no video");

        TestVerdict verdict({{name, late, 5.0}}, 5, {}, {});
        QVERIFY(!verdict.sound());
        QVERIFY2(verdict.lines().at(0).contains("; first keyframe at 0.500 s (it must be at 0);"),
                 qPrintable(verdict.lines().at(0)));
        QCOMPARE(verdict.lines().at(1), QStringLiteral("Not every movie of the test is sound."));

        verdict = TestVerdict({{name, lossy, 5.0}}, 5, {}, {});
        QVERIFY(!verdict.sound());
        QVERIFY(verdict.lines().at(0).contains("; 3 frames lost;"));

        verdict = TestVerdict({{name, soundFacts(), 2.1}}, 5, {}, {});
        QVERIFY(!verdict.sound());
        QVERIFY(
            verdict.lines().at(0).endsWith("pre-roll 2.10 s of the 5 s asked for: not covered."));

        verdict = TestVerdict({{name, broken, 5.0}}, 5, {}, {});
        QVERIFY(!verdict.sound());
        QCOMPARE(verdict.lines().at(0), name + ": can't be read: it has no video");

        // A camera without a microphone writes no audio, and that is sound.
        verdict = TestVerdict({{name, silent, 5.0}}, 5, {}, {});
        QVERIFY(verdict.sound());
        QVERIFY(verdict.lines().at(0).contains("video starts at 0.000 s, no audio;"));
    }

    void noMovieIsNotSound() {
        const TestVerdict verdict(
            {}, 5, {}, {{"notice", "1 recording wasn't saved: the file couldn't be written"}});
        QVERIFY(!verdict.sound());
        QCOMPARE(verdict.lines(), (QStringList{"The test wrote no movie.",
                                               "1 recording wasn't saved: the file couldn't be "
                                               "written"}));
    }

    void aThresholdNotCrossedIsExplained() {
        QCOMPARE(TestVerdict::motionSentence(camera(31, 50), false),
                 QStringLiteral("Motion peaked at 31; the threshold is 50: it would not have "
                                "triggered. Lower it to 25 or draw a zone around where people "
                                "appear."));
        QCOMPARE(TestVerdict::soundSentence(microphone(12, 40)),
                 QStringLiteral("Sound peaked at 12; the threshold is 40: it would not have "
                                "triggered. Lower it to 10 or move the microphone closer to where "
                                "things happen."));
        // Equal is not above: the threshold must be passed.
        QVERIFY(TestVerdict::motionSentence(camera(50, 50), false).contains("would not have"));
    }

    void aThresholdCrossedOrOffIsSaidPlainly() {
        QCOMPARE(TestVerdict::motionSentence(camera(62.5, 50), false),
                 QStringLiteral("Motion peaked at 63; the threshold is 50: it would have "
                                "triggered."));
        QCOMPARE(TestVerdict::motionSentence(camera(62.5, 50, false), true),
                 QStringLiteral("Desk: Motion peaked at 63; motion doesn't trigger recordings "
                                "while it's turned off."));
        QCOMPARE(TestVerdict::motionSentence({{"name", "Desk"}, {"motionThreshold", 50}}, false),
                 QStringLiteral("No motion level was measured during the test."));
        QCOMPARE(TestVerdict::soundSentence(microphone(0, 40)),
                 QStringLiteral("Sound peaked at 0; the threshold is 40: it would not have "
                                "triggered. Make a sound during the test, or move the microphone "
                                "closer to where things happen."));
    }

    void theSuggestionLiesBelowThePeak() {
        QCOMPARE(TestVerdict::suggestedThreshold(31), 25);
        QCOMPARE(TestVerdict::suggestedThreshold(100), 80);
        QCOMPARE(TestVerdict::suggestedThreshold(12), 10);
        QCOMPARE(TestVerdict::suggestedThreshold(2), 1);
        QCOMPARE(TestVerdict::suggestedThreshold(1), std::nullopt);
        for (double peak = 1.3; peak < 500; peak += 0.7) {
            const std::optional<int> lower = TestVerdict::suggestedThreshold(peak);
            QVERIFY2(lower && *lower >= 1 && *lower < peak, qPrintable(QString::number(peak)));
        }
    }
};

QTEST_GUILESS_MAIN(tst_TestVerdict)
#include "tst_TestVerdict.moc"
