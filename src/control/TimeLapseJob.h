#pragma once

#include "SerialQueue.h"
#include "TimeLapseRenderer.h"

#include <QObject>
#include <QString>
#include <functional>
#include <optional>

// The one time-lapse being made: renders on its own queue ("TimeLapse") and
// reports on the main thread, where all of its state lives. While it runs,
// `isMakingTimeLapse` is set and the fraction done moves; a second start is
// refused. A finished movie is revealed in the file manager; a stretch with
// nothing readable sets `timeLapseFailed` until the popover clears it. A
// render can be cancelled, and going away cancels it, so quitting never
// waits for one.
class TimeLapseJob : public QObject {
    Q_OBJECT

public:
    using Reveal = std::function<void(const QString& filePath)>;

    explicit TimeLapseJob(QObject* parent = nullptr);
    ~TimeLapseJob() override;

    // False (and nothing started) while a time-lapse is being made. Events
    // gathered by `gatherEvents` (on the job's queue, where it may read the
    // folder) replace the request's.
    bool start(TimeLapseRenderer::Request request,
               std::function<std::vector<Event>()> gatherEvents = {});
    // The time-lapse of `stretch` from the recordings in `folder`, gathered
    // afresh on the job's queue, made into that folder; false as `start`.
    bool makeOf(const ArmedStretch& stretch, const QString& folder, double preRollSeconds);
    // Stops the render in progress between two pictures; it leaves no file
    // and reports no failure.
    void cancel() { cancel_ = true; }

    bool isMakingTimeLapse() const { return running_; }
    double fractionDone() const { return fraction_; }
    bool timeLapseFailed() const { return failed_; }
    void setTimeLapseFailed(bool failed);
    // The last run's failure, for "Time-lapse not written: {reason}".
    const std::optional<TimeLapse::Failure>& lastFailure() const { return lastFailure_; }

    // How a finished movie is shown; the file manager's ShowItems unless replaced.
    Reveal reveal;
    static void revealInFileManager(const QString& filePath);

Q_SIGNALS:
    void isMakingTimeLapseChanged();
    void fractionDoneChanged();
    void timeLapseFailedChanged();
    void finished(const QString& filePath);

private:
    void progressed(double fraction);
    void ended(const TimeLapseRenderer::Outcome& outcome);

    bool running_ = false;
    double fraction_ = 0;
    bool failed_ = false;
    std::optional<TimeLapse::Failure> lastFailure_;
    TimeLapseRenderer::Cancel cancel_{false};
    SerialQueue queue_{"TimeLapse"};  // last: stops before the fields above go
};
