#pragma once

#include <functional>
#include <memory>

class Clock;
class Defaults;
class Timer;

// The test recording the user asks for: whether one runs, whether it armed
// Nelvo by itself (and so disarms it when done), the deadline for its first
// file, and which of its files is shown when it is done. The recording
// manager arms and records for it. Main thread only.
class TestRecording {
public:
    static constexpr int minimumArmCountdown = 5;
    // How long a test may wait for its first file.
    static constexpr int deadlineSeconds = 15;

    // `onDeadline` runs when the test opened no file in time.
    TestRecording(Clock& clock, std::function<void()> onDeadline);
    ~TestRecording();

    // The countdown of a test that arms by itself: the pre-roll's whole
    // seconds, at least `minimumArmCountdown`.
    static int armCountdown(const Defaults& defaults);

    bool running() const { return running_; }
    bool armedItself() const { return armedItself_; }
    int pendingFiles() const { return pendingFiles_; }
    // Follows each change of `running`.
    std::function<void()> onRunningChanged;

    // A test begins; `armsItself` when Nelvo was unarmed.
    void begin(bool armsItself);
    // Nelvo is armed: the deadline for the first file starts.
    void awaitFiles();
    // The test's recording opened `count` files: the deadline is off.
    void filesOpened(int count);
    // A file of the test was written: true only for the first, the one to show.
    bool reveal();
    // A file of the test finished; true when it was the last one.
    bool fileDone();
    // Ends the test; true when it had armed Nelvo by itself.
    bool end();
    // Ends the test without it disarming anything.
    void cancel();

private:
    void setRunning(bool running);

    bool running_ = false;
    bool armedItself_ = false;
    bool revealed_ = false;
    int pendingFiles_ = 0;
    std::unique_ptr<Timer> deadline_;
};
