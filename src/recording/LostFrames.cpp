#include "LostFrames.h"

void LostFrames::written(double time, GstClockTime duration) {
    if (GST_CLOCK_TIME_IS_VALID(duration) && duration > 0) {
        frameInterval_ = static_cast<double>(duration) / GST_SECOND;
    }
    gaps_.update(time, frameInterval_);
}

void LostFrames::reportAndRename(const QString& filePath) const {
    FrameLoss::reportAndRename(filePath, tally_, gaps_, frameInterval_);
}
