#pragma once

#include "ArmState.h"
#include "ArmedStateText.h"
#include "ArmingCause.h"
#include "ArmingCountdown.h"
#include "AwakeKeeper.h"
#include "Clock.h"
#include "GapTracker.h"
#include "MinuteTimer.h"
#include "RecordingFiles.h"
#include "ScheduleRunner.h"
#include "StretchKeeper.h"
#include "TestRecording.h"
#include "TimeLapseJob.h"
#include "TriggerSources.h"

#include <QObject>
#include <QVariant>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

// The one owner of Nelvo's armed state. Every way of arming or disarming goes
// through it; the interface only observes it. Main thread only.
class RecordingManager : public QObject {
    Q_OBJECT
    Q_PROPERTY(QVariant armedStateRaw READ armedStateRaw NOTIFY armedStateRawChanged)
    Q_PROPERTY(QString armedStateDescription READ armedStateDescription NOTIFY
                   armedStateDescriptionChanged)
    Q_PROPERTY(StateColor armedStateColor READ armedStateColor NOTIFY armedStateDescriptionChanged)
    Q_PROPERTY(QString armedButtonText READ armedButtonText NOTIFY armedStateDescriptionChanged)
    Q_PROPERTY(bool armedBySchedule READ armedBySchedule NOTIFY armedByChanged)
    Q_PROPERTY(bool armedByFocus READ armedByFocus NOTIFY armedByChanged)
    Q_PROPERTY(bool motionDetectionStopped READ motionDetectionStopped WRITE
                   setMotionDetectionStopped NOTIFY motionDetectionStoppedChanged)
    Q_PROPERTY(bool isRecordingTest READ isRecordingTest NOTIFY isRecordingTestChanged)
    Q_PROPERTY(QDateTime recordingFailedAt READ recordingFailedAt NOTIFY recordingFailureChanged)
    Q_PROPERTY(QDateTime deletedAt READ deletedAt NOTIFY deletedChanged)
    Q_PROPERTY(qint64 scheduleGeneration READ scheduleGeneration NOTIFY scheduleGenerationChanged)
    Q_PROPERTY(qint64 stretchGeneration READ stretchGeneration NOTIFY stretchGenerationChanged)

public:
    // Countdown lengths by who arms; they differ on purpose.
    static constexpr int popoverArmCountdown = 5;
    static constexpr int shortcutArmCountdown = 5;
    static constexpr int launchArmCountdown = 15;
    static constexpr int crashRearmCountdown = 15;
    static constexpr int focusArmCountdown = 15;
    static constexpr int scheduleArmCountdown = 15;

    // What an arm request from outside the popover (a shortcut) came to.
    enum class ArmRequest { armed, alreadyArmed, nothingCanTrigger };

    RecordingManager(Defaults& defaults, Clock& clock, QObject* parent = nullptr);
    ~RecordingManager() override;

    Defaults& defaults() const { return defaults_; }
    QDateTime now() const { return clock_.now(); }
    // The clock every decision by time reads, and its timers.
    Clock& clock() const { return clock_; }

    // Observable state.
    std::optional<ArmState> armedState() const { return armedState_; }
    QVariant armedStateRaw() const;
    QString armedStateDescription() const;
    StateColor armedStateColor() const { return ArmedStateText::color(armedState_); }
    QString armedButtonText() const { return ArmedStateText::buttonText(armedState_); }
    qint64 armingCountdown() const { return countdown_.remaining(); }
    bool armedBySchedule() const { return armedBySchedule_; }
    bool armedByFocus() const { return armedByFocus_; }
    bool armedAtLaunch() const { return armedAtLaunch_; }
    bool isRecordingTest() const { return test_.running(); }
    bool testArmedItself() const { return test_.armedItself(); }
    bool stretchSuppressed() const { return stretchSuppressed_; }

    // Kept up to date by the capture side.
    bool cameraAvailable() const { return triggers_.cameraAvailable(); }
    bool microphoneAvailable() const { return triggers_.microphoneAvailable(); }
    void setCameraAvailable(bool available) { triggers_.setCameraAvailable(available); }
    void setMicrophoneAvailable(bool available) { triggers_.setMicrophoneAvailable(available); }
    bool motionDetectionStopped() const { return triggers_.motionDetectionStopped(); }
    void setMotionDetectionStopped(bool stopped);

    // Whether anything could trigger a recording if Nelvo were armed now.
    bool canTrigger() const { return !unarmed() || triggers_.canFire(); }

    // Arming and disarming.
    void armFromPopover();
    ArmRequest armFromShortcut();
    void disarm(bool keepNotices = false);
    void armAtLaunch();
    // Makes the arm-at-launch rule arm whatever "armAtLogin" says, for this
    // run only (a command-line choice, never stored).
    void setArmAtLaunchForThisRun(bool on) { armAtLaunchForThisRun_ = on; }
    void focusChanged(bool on);

    // The capture side has set up or changed its devices.
    void devicesChanged();

    // Test recordings.
    void startTestRecording();
    void endTest();
    int pendingTestFiles() const { return test_.pendingFiles(); }

    // Recording control, driven by the capture side.
    void startRecordings(const std::vector<RecordingTarget>& targets);
    void stopRecording();
    void stopForSpace() { files_.stopForSpace(); }
    // Quitting mid-recording: every recorder finishes its file while the state
    // stays recording, so nothing new starts; the last file done returns the
    // state to armed and calls onRecordingsFinished.
    void finishRecordings() { files_.finish(); }
    // Continues every camera's recording in a new file from its next keyframe.
    void rollOver() { files_.rollOver(); }

    FileOutputManager& fileOutputManager() const { return files_.fileOutputManager(); }
    // How free space is learnt; the recordings volume's unless replaced.
    std::function<std::optional<qint64>()> freeSpace;

    const QSet<QString>& currentFilePaths() const { return files_.currentFilePaths(); }
    bool stoppingForSpace() const { return files_.stoppingForSpace(); }
    std::optional<RecordingFailure> recordingFailure() const { return files_.set().failure(); }
    qint64 recordingFailureCount() const { return files_.set().failureCount(); }
    QDateTime recordingFailedAt() const { return files_.set().failedAt(); }
    qint64 deletedCount() const { return files_.deletedCount(); }
    QDateTime deletedAt() const { return files_.deletedAt(); }

    // How much one recording takes, from the recordings of the last day as
    // the folder was last listed.
    std::optional<DiskBudget::RecordingCost> recordingCost() const {
        return files_.recordingCost(now());
    }

    // What depends on the recordings folder comes from its last reading (see
    // RecordingFiles); `recordingsChanged` follows each newer one.
    void refreshRecordings() { files_.listing().refresh(); }
    const RecordingsListing& recordingsListing() const { return files_.listing(); }
    // The folder's state for Settings, with the result of the last write
    // test there (a folder not yet tested counts as writable).
    FolderState folderState() { return files_.folderState(); }
    // Tests anew whether the folder in use can be written.
    void checkFolder() { files_.checkFolder(); }

    // Keeps the computer awake through `inhibitor` (not owned) from now on.
    void setSleepInhibitor(SleepInhibitor* inhibitor);
    std::optional<KeepAwakeReason> keepAwakeReason() const { return awake_.reason(); }

    const Schedule& schedule() const { return schedule_.schedule(); }
    bool scheduleEnabled() const { return schedule_.enabled(); }
    std::optional<bool> insideScheduleWindow() const { return schedule_.insideWindow(); }
    qint64 scheduleGeneration() const { return schedule_.generation(); }

    // The computer is about to sleep / woke (logind's PrepareForSleep).
    void willSleep() { gaps_.willSleep(now()); }
    void didWake();
    // The application is ending normally: no crash is to be seen at the next launch.
    void cleanQuit();
    // The capture side was not watching from `from` to `until`.
    void reportGap(const QDateTime& from, const QDateTime& until) {
        gaps_.notWatching(from, until);
    }
    bool recoveredAtLaunch() const { return gaps_.recoveredAtLaunch(); }
    std::optional<QDateTime> sleptAt() const { return gaps_.sleptAt(); }
    std::optional<QDateTime> notWatchingFrom() const { return gaps_.notWatchingFrom(); }
    std::optional<QDateTime> notWatchingUntil() const { return gaps_.notWatchingUntil(); }
    std::optional<QDateTime> quitUnexpectedlyAt() const { return gaps_.quitUnexpectedlyAt(); }
    std::optional<QDateTime> quitUnexpectedlyUntil() const { return gaps_.quitUnexpectedlyUntil(); }

    qint64 stretchGeneration() const { return stretches_.generation(); }
    // The last kept stretch, without its events.
    std::optional<ArmedStretch> lastStretch() const { return ArmedStretch::last(defaults_); }
    // The last kept stretch with its events as the folder was last listed.
    std::optional<WhatHappened> lastWhatHappened() const { return stretches_.last(); }

    // The last stretch's time-lapse, made into the recordings folder; false
    // when there is no stretch or one is being made.
    bool makeTimeLapse();
    TimeLapseJob& timeLapse() { return timeLapse_; }
    bool isMakingTimeLapse() const { return timeLapse_.isMakingTimeLapse(); }
    bool timeLapseFailed() const { return timeLapse_.timeLapseFailed(); }
    void setTimeLapseFailed(bool failed) { timeLapse_.setTimeLapseFailed(failed); }

    // Hooks installed by the application.
    // Called with the cause each time Nelvo starts arming by itself.
    std::function<void(ArmingCause)> onArmedAtLaunch;
    std::function<void()> onTestRecordingWanted;
    std::function<void(const QString& filePath)> onTestRecordingFinished;
    std::function<void()> onRecordingsFinished;

Q_SIGNALS:
    void armedStateRawChanged();
    void armedStateDescriptionChanged();
    void armedByChanged();
    void motionDetectionStoppedChanged();
    void isRecordingTestChanged();
    void recordingFailureChanged();
    void deletedChanged();
    void recordingsChanged();
    void scheduleGenerationChanged();
    void stretchGenerationChanged();
    void gapsChanged();
    void keepAwakeReasonChanged();

private:
    bool unarmed() const { return armedState_.value_or(ArmState::unarmed) == ArmState::unarmed; }
    void setArmedState(std::optional<ArmState> state);
    void arm(int countdownSeconds);
    void prepareArming();
    void countedDown();
    void armByRule(ArmingCause cause, int countdownSeconds);
    void disarmWhenNothingCanTrigger();
    void settingsChanged();
    void continueTest();
    void followFiles();
    void updateKeepAwake();
    void launchRecovery();
    void evaluateSchedule(const QDateTime& at);
    void reloadSchedule();

    Defaults& defaults_;
    Clock& clock_;

    std::optional<ArmState> armedState_ = ArmState::unarmed;
    ArmingCountdown countdown_{clock_, [this] { Q_EMIT armedStateDescriptionChanged(); },
                               [this] { countedDown(); }};
    bool armedBySchedule_ = false;
    bool armedByFocus_ = false;
    bool armedAtLaunch_ = false;
    bool armAtLaunchForThisRun_ = false;
    TriggerSources triggers_{defaults_};

    TestRecording test_{clock_, [this] { endTest(); }};
    bool stretchSuppressed_ = false;
    TimeLapseJob timeLapse_;
    RecordingFiles files_{defaults_, clock_};
    ScheduleRunner schedule_{defaults_};
    StretchKeeper stretches_{defaults_, files_.listing()};
    // The schedule and the heartbeat, on the wall clock's minutes.
    MinuteTimer minuteTimer_{clock_, [this](const QDateTime& at) { evaluateSchedule(at); }};
    GapTracker gaps_{defaults_, stretches_};
    AwakeKeeper awake_;
};
