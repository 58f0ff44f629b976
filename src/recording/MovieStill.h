#pragma once

#include "GstHandle.h"
#include "SerialQueue.h"

#include <QString>
#include <optional>

// The JPEG still beside the first file of a recording: the scene when the
// movie's session began, from the newest camera frame. The recorder tells it
// about frames and about the open movie on its own queue ("PreRollRecorder"),
// where this state lives; encoding and file work run on "StillWriter".
class MovieStill {
public:
    // The newest camera frame, the source of the still.
    void setNewestFrame(GstHandle<GstSample> rawFrame) { newestFrame_ = std::move(rawFrame); }
    void forgetFrame() { newestFrame_.reset(); }

    // A movie was opened; `owed`: whether it gets a still.
    void movieOpened(bool owed);
    // Once the movie's session has begun: writes its still if one is owed
    // and a frame is there (else it stays owed for the next frame).
    void writeIfOwed(const QString& moviePath);
    // The movie was abandoned: a still written beside it goes with it.
    void removeWritten();
    void movieClosed();

    // Where stills are written and removed (tests wait on it).
    SerialQueue& queue() { return queue_; }

private:
    GstHandle<GstSample> newestFrame_;
    bool owed_ = false;
    std::optional<QString> writtenBeside_;  // the movie whose still was written

    // Last, so it stops first, finishing the still work already queued.
    SerialQueue queue_{"StillWriter"};
};
