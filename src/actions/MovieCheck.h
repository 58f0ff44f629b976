#pragma once

#include <QString>
#include <optional>

// A finished movie read back, sample by sample, to learn what a player will
// find in it: how long it is, when its first keyframe and each stream begin,
// and whether video frames are missing from the run of timestamps.
class MovieCheck {
public:
    struct Facts {
        // Why the movie could not be read; nothing when it was.
        std::optional<QString> problem;
        double lengthSeconds = 0;
        std::optional<double> firstKeyframeSeconds;
        std::optional<double> videoStartSeconds;
        std::optional<double> audioStartSeconds;
        qint64 videoFrames = 0;
        // Frames missing between consecutive video timestamps, counted in
        // units of the movie's usual frame spacing.
        qint64 framesLost = 0;
    };

    // Reads the whole movie; blocks for as long as that takes (a second or
    // two for a test movie). Not for the GUI thread.
    static Facts read(const QString& path);

    // Frames missing from timestamps in nanoseconds, in order: each spacing
    // of n times the usual (median) spacing, rounded, stands for n - 1 lost frames.
    static qint64 framesMissing(const std::vector<qint64>& timestamps);
};
