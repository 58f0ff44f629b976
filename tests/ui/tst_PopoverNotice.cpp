#include "PopoverNotice.h"
#include "Translations.h"

#include <QLocale>
#include <QTest>

namespace {

const QDateTime today(int hour, int minute) {
    return QDateTime(QDate(2024, 3, 14), QTime(hour, minute));
}
const QDateTime now = today(12, 0);

// Armed, with nothing to say.
PopoverNoticeInputs armed() {
    PopoverNoticeInputs inputs;
    inputs.armedState = ArmState::armed;
    return inputs;
}

void setFailure(PopoverNoticeInputs& inputs, const QDateTime& at, qint64 count = 2) {
    inputs.recordingFailure = RecordingFailure::diskFull;
    inputs.recordingFailureCount = count;
    inputs.recordingFailedAt = at;
}
void setDeleted(PopoverNoticeInputs& inputs, const QDateTime& at, qint64 count = 3) {
    inputs.deletedCount = count;
    inputs.deletedAt = at;
}
void setGap(PopoverNoticeInputs& inputs, const QDateTime& from, const QDateTime& to) {
    inputs.notWatchingFrom = from;
    inputs.notWatchingUntil = to;
}
void setQuit(PopoverNoticeInputs& inputs, const QDateTime& at, const QDateTime& until) {
    inputs.quitUnexpectedlyAt = at;
    inputs.quitUnexpectedlyUntil = until;
}

using Kind = PopoverNotice::Kind;

}  // namespace

// Readable failure messages for QCOMPARE.
char* toString(const PopoverNotice& notice) {
    return QTest::toString(
        QStringLiteral("notice %1: \"%2\"").arg(int(notice.kind())).arg(notice.text(now)));
}

class tst_PopoverNotice : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        // Fixed formats: short time "HH:mm", short date "dd/MM/yyyy".
        QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedKingdom));
        Translations::install(*QCoreApplication::instance());
    }

    void nothingToSayIsNone() {
        const PopoverNotice notice = PopoverNotice::choose(armed());
        QCOMPARE(notice, PopoverNotice::none());
        QCOMPARE(notice.text(now), QString());
        QCOMPARE(PopoverNotice(), PopoverNotice::none());
        QCOMPARE(PopoverNotice::choose(PopoverNoticeInputs{}).kind(), Kind::none);
    }

    void motionDetectionStoppedOutranksEverything() {
        PopoverNoticeInputs inputs = armed();
        inputs.motionDetectionStopped = true;
        setFailure(inputs, today(10, 0));
        setDeleted(inputs, today(10, 5));
        setQuit(inputs, today(9, 0), today(9, 30));
        setGap(inputs, today(8, 0), today(11, 0));
        inputs.freshStartNoticePending = true;
        inputs.scheduleCannotSurviveRestart = true;
        inputs.lidWouldStopWatching = true;
        QCOMPARE(PopoverNotice::choose(inputs),
                 PopoverNotice(PopoverNotice::MotionDetectionStopped{false}));
    }

    void soundStillWatchingNeedsSoundOnAMicrophoneAndArming_data() {
        QTest::addColumn<int>("state");
        QTest::addColumn<bool>("soundOn");
        QTest::addColumn<bool>("microphone");
        QTest::addColumn<bool>("soundStillWatching");
        QTest::newRow("armed, sound on, microphone")
            << int(ArmState::armed) << true << true << true;
        QTest::newRow("arming") << int(ArmState::arming) << true << true << true;
        QTest::newRow("recording") << int(ArmState::recording) << true << true << true;
        QTest::newRow("unarmed") << int(ArmState::unarmed) << true << true << false;
        QTest::newRow("sound off") << int(ArmState::armed) << false << true << false;
        QTest::newRow("no microphone") << int(ArmState::armed) << true << false << false;
    }
    void soundStillWatchingNeedsSoundOnAMicrophoneAndArming() {
        QFETCH(int, state);
        QFETCH(bool, soundOn);
        QFETCH(bool, microphone);
        QFETCH(bool, soundStillWatching);
        PopoverNoticeInputs inputs;
        inputs.armedState = ArmState(state);
        inputs.motionDetectionStopped = true;
        inputs.audioTriggerEnabled = soundOn;
        inputs.microphoneAvailable = microphone;
        QCOMPARE(PopoverNotice::choose(inputs),
                 PopoverNotice(PopoverNotice::MotionDetectionStopped{soundStillWatching}));
    }

    void motionStoppedWhileUnarmedNeverSaysSoundStillWatches() {
        PopoverNoticeInputs inputs;
        inputs.motionDetectionStopped = true;
        inputs.audioTriggerEnabled = true;
        inputs.microphoneAvailable = true;
        QCOMPARE(PopoverNotice::choose(inputs).text(now),
                 QStringLiteral("Nelvo isn't watching for motion right now."));
        inputs.armedState = ArmState::armed;
        QCOMPARE(PopoverNotice::choose(inputs).text(now),
                 QStringLiteral("Nelvo isn't watching for motion right now. Sound still is."));
    }

    void notWatchingGapIsHiddenWhileUnarmedButQuitGapIsNot() {
        PopoverNoticeInputs inputs;
        setGap(inputs, today(1, 0), today(7, 15));
        QCOMPARE(PopoverNotice::choose(inputs).kind(), Kind::none);
        inputs.armedState = ArmState::armed;
        QCOMPARE(PopoverNotice::choose(inputs),
                 PopoverNotice(PopoverNotice::WasNotWatching{today(1, 0), today(7, 15)}));

        PopoverNoticeInputs unarmed;
        setQuit(unarmed, today(2, 0), today(8, 0));
        QCOMPARE(PopoverNotice::choose(unarmed),
                 PopoverNotice(PopoverNotice::QuitUnexpectedly{today(2, 0), today(8, 0)}));
    }

    void theLatestDatedNoticeWins() {
        PopoverNoticeInputs inputs = armed();
        setFailure(inputs, today(10, 0));
        setDeleted(inputs, today(10, 5));
        QCOMPARE(PopoverNotice::choose(inputs),
                 PopoverNotice(PopoverNotice::RecordingsDeleted{3, today(10, 5)}));

        setFailure(inputs, today(10, 6));
        QCOMPARE(PopoverNotice::choose(inputs), PopoverNotice(PopoverNotice::RecordingFailed{
                                                    RecordingFailure::diskFull, 2, today(10, 6)}));

        // Sorted by the end of a gap, not its start.
        setGap(inputs, today(6, 0), today(10, 7));
        QCOMPARE(PopoverNotice::choose(inputs).kind(), Kind::wasNotWatching);
        setQuit(inputs, today(5, 0), today(10, 8));
        QCOMPARE(PopoverNotice::choose(inputs).kind(), Kind::quitUnexpectedly);
    }

    void equalDatesGoToTheEarlierCase_data() {
        QTest::addColumn<QString>("pair");
        QTest::addColumn<int>("expected");
        QTest::newRow("failure and deletion") << "failed deleted" << int(Kind::recordingFailed);
        QTest::newRow("quit and failure") << "quit failed" << int(Kind::quitUnexpectedly);
        QTest::newRow("gap and quit") << "gap quit" << int(Kind::wasNotWatching);
        QTest::newRow("all four") << "gap quit failed deleted" << int(Kind::wasNotWatching);
        QTest::newRow("quit and deletion") << "quit deleted" << int(Kind::quitUnexpectedly);
    }
    void equalDatesGoToTheEarlierCase() {
        QFETCH(QString, pair);
        QFETCH(int, expected);
        const QDateTime same = today(10, 0);
        PopoverNoticeInputs inputs = armed();
        if (pair.contains(u"gap")) {
            setGap(inputs, today(9, 0), same);
        }
        if (pair.contains(u"quit")) {
            setQuit(inputs, today(8, 0), same);
        }
        if (pair.contains(u"failed")) {
            setFailure(inputs, same);
        }
        if (pair.contains(u"deleted")) {
            setDeleted(inputs, same);
        }
        QCOMPARE(int(PopoverNotice::choose(inputs).kind()), expected);
    }

    void aCountOfZeroOffersNoCandidate() {
        PopoverNoticeInputs inputs = armed();
        setFailure(inputs, today(10, 0), 0);
        setDeleted(inputs, today(10, 5), 0);
        QCOMPARE(PopoverNotice::choose(inputs).kind(), Kind::none);
        inputs.lidWouldStopWatching = true;
        QCOMPARE(PopoverNotice::choose(inputs).kind(), Kind::lidWouldStopWatching);

        setFailure(inputs, today(10, 0), 1);
        QCOMPARE(PopoverNotice::choose(inputs).kind(), Kind::recordingFailed);
        setDeleted(inputs, today(10, 5), 1);
        QCOMPARE(PopoverNotice::choose(inputs).kind(), Kind::recordingsDeleted);
    }

    void aFailureNeedsItsClassAndDate() {
        PopoverNoticeInputs inputs = armed();
        setFailure(inputs, today(10, 0));
        inputs.recordingFailure.reset();
        QCOMPARE(PopoverNotice::choose(inputs).kind(), Kind::none);
        setFailure(inputs, today(10, 0));
        inputs.recordingFailedAt.reset();
        QCOMPARE(PopoverNotice::choose(inputs).kind(), Kind::none);
    }

    void aPairMissingADateIsNeverOffered() {
        PopoverNoticeInputs inputs = armed();
        inputs.notWatchingFrom = today(1, 0);
        inputs.quitUnexpectedlyUntil = today(2, 0);
        QCOMPARE(PopoverNotice::choose(inputs).kind(), Kind::none);
        inputs = armed();
        inputs.notWatchingUntil = today(1, 0);
        inputs.quitUnexpectedlyAt = today(2, 0);
        QCOMPARE(PopoverNotice::choose(inputs).kind(), Kind::none);
    }

    void undatedNoticesInTheirOrder() {
        PopoverNoticeInputs inputs = armed();
        inputs.freshStartNoticePending = true;
        inputs.scheduleCannotSurviveRestart = true;
        inputs.lidWouldStopWatching = true;
        QCOMPARE(PopoverNotice::choose(inputs).kind(), Kind::freshStart);
        inputs.freshStartNoticePending = false;
        QCOMPARE(PopoverNotice::choose(inputs).kind(), Kind::scheduleCannotSurviveRestart);
        inputs.scheduleCannotSurviveRestart = false;
        QCOMPARE(PopoverNotice::choose(inputs).kind(), Kind::lidWouldStopWatching);
        inputs.lidWouldStopWatching = false;
        QCOMPARE(PopoverNotice::choose(inputs).kind(), Kind::none);
    }

    void aDatedNoticeOutranksTheUndatedOnes() {
        PopoverNoticeInputs inputs;
        inputs.freshStartNoticePending = true;
        inputs.scheduleCannotSurviveRestart = true;
        inputs.lidWouldStopWatching = true;
        setDeleted(inputs, today(10, 0));
        QCOMPARE(PopoverNotice::choose(inputs).kind(), Kind::recordingsDeleted);
    }

    void aQuitFromTodayShowsTimesAlone() {
        const PopoverNotice notice(PopoverNotice::QuitUnexpectedly{today(9, 5), today(11, 40)});
        QCOMPARE(
            notice.text(now),
            QStringLiteral("Nelvo quit unexpectedly at 09:05 and wasn't watching until 11:40"));
    }

    void aQuitFromYesterdayShowsDateAndTime() {
        const QDateTime yesterday(QDate(2024, 3, 13), QTime(23, 10));
        const PopoverNotice notice(PopoverNotice::QuitUnexpectedly{yesterday, today(7, 2)});
        QCOMPARE(notice.text(now), QStringLiteral("Nelvo quit unexpectedly at 13/03/2024 23:10 and "
                                                  "wasn't watching until 07:02"));
        // Seen a day later, both ends carry their dates.
        QCOMPARE(notice.text(now.addDays(1)),
                 QStringLiteral("Nelvo quit unexpectedly at 13/03/2024 23:10 and wasn't watching "
                                "until 14/03/2024 07:02"));
    }

    void aGapShowsTimesAloneEvenAcrossDays() {
        const QDateTime yesterday(QDate(2024, 3, 13), QTime(22, 30));
        const PopoverNotice notice(PopoverNotice::WasNotWatching{yesterday, today(6, 45)});
        QCOMPARE(notice.text(now), QStringLiteral("Nelvo wasn't watching from 22:30 to 06:45"));
    }

    void datesAreShownInLocalTime() {
        const QDateTime local = today(9, 5);
        const PopoverNotice notice(
            PopoverNotice::QuitUnexpectedly{local.toUTC(), local.addSecs(3600).toUTC()});
        QCOMPARE(
            notice.text(now),
            QStringLiteral("Nelvo quit unexpectedly at 09:05 and wasn't watching until 10:05"));
    }

    void deletedTexts() {
        QCOMPARE(PopoverNotice(PopoverNotice::RecordingsDeleted{3, now}).text(now),
                 QStringLiteral("The 3 oldest recordings were deleted to stay under your limit"));
        QCOMPARE(PopoverNotice(PopoverNotice::RecordingsDeleted{1, now}).text(now),
                 QStringLiteral("The oldest recording was deleted to stay under your limit"));
    }

    void failureTextIsTheFailuresOwn() {
        const PopoverNotice notice(
            PopoverNotice::RecordingFailed{RecordingFailure::notPermitted, 4, today(10, 0)});
        QCOMPARE(notice.text(now), RecordingFailure::noticeText(4, RecordingFailure::notPermitted));
        QVERIFY(notice.text(now).startsWith(u"4 recordings in a row weren't saved"));
    }

    void undatedTexts() {
        QCOMPARE(PopoverNotice::lidWouldStopWatching().text(now),
                 QStringLiteral("Closing the lid will stop Nelvo until it's opened again"));
        QCOMPARE(PopoverNotice::freshStart().text(now),
                 QStringLiteral("Nelvo is starting with default settings.\nCheck the recordings "
                                "folder and arm at login in Settings."));
        QCOMPARE(PopoverNotice::scheduleCannotSurviveRestart().text(now),
                 QStringLiteral("Nelvo won't be open after a restart, so the schedule can't arm "
                                "it: turn on Open Nelvo at Login"));
    }

    void payloadBelongsToItsCase() {
        const PopoverNotice notice(PopoverNotice::RecordingsDeleted{2, now});
        QVERIFY(notice.payload<PopoverNotice::RecordingsDeleted>() != nullptr);
        QCOMPARE(notice.payload<PopoverNotice::RecordingsDeleted>()->count, 2);
        QCOMPARE(notice.payload<PopoverNotice::RecordingFailed>(), nullptr);
        QVERIFY(PopoverNotice(PopoverNotice::RecordingsDeleted{2, now}) !=
                PopoverNotice(PopoverNotice::RecordingsDeleted{3, now}));
    }
};

QTEST_GUILESS_MAIN(tst_PopoverNotice)
#include "tst_PopoverNotice.moc"
