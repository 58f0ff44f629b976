#pragma once

#include "FrameLoss.h"

#include <gst/gst.h>
#include <QString>

// What one movie file lost: the frames lost by reason, the holes in its
// video timeline, and the frame interval the holes are measured against.
// A value: the recorder keeps one for the open file on its queue and hands a
// copy to the file's completion, which reports it once the file is finished.
class LostFrames {
public:
    void record(FrameLoss::Reason reason) { tally_.record(reason); }
    // A video frame written at `time` seconds. A frame without a valid
    // positive duration is taken to last as long as the last one that had one.
    void written(double time, GstClockTime duration);
    // Prints what was lost and renames a file that lost a noticeable share.
    void reportAndRename(const QString& filePath) const;

    const FrameLoss::Tally& tally() const { return tally_; }
    const FrameLoss::Gaps& gaps() const { return gaps_; }
    double frameInterval() const { return frameInterval_; }

private:
    FrameLoss::Tally tally_;
    FrameLoss::Gaps gaps_;
    double frameInterval_ = 0;  // seconds
};
