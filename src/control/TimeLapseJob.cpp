#include "TimeLapseJob.h"

#include "FileManager.h"
#include "FileOutputManager.h"
#include "WhatHappened.h"

#include <QPointer>
#include <QTimeZone>

TimeLapseJob::TimeLapseJob(QObject* parent) : QObject(parent), reveal(&revealInFileManager) {}

TimeLapseJob::~TimeLapseJob() {
    cancel();
}

bool TimeLapseJob::makeOf(const ArmedStretch& stretch, const QString& folder,
                          double preRollSeconds) {
    return start({stretch, {}, folder, QTimeZone::systemTimeZone(), QLocale::system()},
                 [folder, stretch, preRollSeconds] {
                     return WhatHappened::eventsOf(FileOutputManager::recordingsIn(folder), stretch,
                                                   preRollSeconds);
                 });
}

bool TimeLapseJob::start(TimeLapseRenderer::Request request,
                         std::function<std::vector<Event>()> gatherEvents) {
    if (running_) {
        return false;
    }
    running_ = true;
    cancel_ = false;
    fraction_ = 0;
    lastFailure_.reset();
    Q_EMIT isMakingTimeLapseChanged();
    Q_EMIT fractionDoneChanged();
    // Results come back as queued calls; a job gone meanwhile drops them.
    const QPointer<TimeLapseJob> self(this);
    queue_.async([self, request = std::move(request), gatherEvents = std::move(gatherEvents),
                  cancel = &cancel_]() mutable {
        if (gatherEvents) {
            request.events = gatherEvents();
        }
        const TimeLapseRenderer::Outcome outcome = TimeLapseRenderer::render(
            request,
            [self](double fraction) {
                QMetaObject::invokeMethod(
                    self.data(),
                    [self, fraction] {
                        if (self) {
                            self->progressed(fraction);
                        }
                    },
                    Qt::QueuedConnection);
            },
            cancel);
        QMetaObject::invokeMethod(
            self.data(),
            [self, outcome] {
                if (self) {
                    self->ended(outcome);
                }
            },
            Qt::QueuedConnection);
    });
    return true;
}

void TimeLapseJob::setTimeLapseFailed(bool failed) {
    if (failed_ != failed) {
        failed_ = failed;
        Q_EMIT timeLapseFailedChanged();
    }
}

void TimeLapseJob::progressed(double fraction) {
    if (running_ && fraction > fraction_) {
        fraction_ = fraction;
        Q_EMIT fractionDoneChanged();
    }
}

void TimeLapseJob::ended(const TimeLapseRenderer::Outcome& outcome) {
    running_ = false;
    lastFailure_ = outcome.failure;
    setTimeLapseFailed(outcome.failure &&
                       outcome.failure->kind == TimeLapse::Failure::Kind::nothingReadable);
    Q_EMIT isMakingTimeLapseChanged();
    if (!outcome.failure && !outcome.cancelled) {
        if (reveal) {
            reveal(outcome.path);
        }
        Q_EMIT finished(outcome.path);
    }
}

void TimeLapseJob::revealInFileManager(const QString& filePath) {
    FileManager::showItems({filePath});
}
