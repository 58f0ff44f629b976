#pragma once

#include "MovieCheck.h"

#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <optional>
#include <vector>

// What `nelvo test --verify` says of a test recording: one line per movie
// (length, first keyframe, where video and audio begin, frames lost, the
// pre-roll asked for against the one it got) and whether it is sound, then
// the highest motion and sound levels of the test against their thresholds,
// with a plain sentence when a threshold would not have been crossed.
class TestVerdict {
public:
    struct Movie {
        QString fileName;
        MovieCheck::Facts facts;
        // Seconds before the trigger the movie begins; nothing when unknown.
        std::optional<double> preRollSeconds;
    };

    // How far from 0 a stream may begin and still count as at 0; audio is cut
    // at its buffers' edges and may begin a little later.
    static constexpr double videoStartTolerance = 0.0005;
    static constexpr double audioStartTolerance = 0.1;

    // `levels` as the status gives them ("cameras", "microphone"), with the
    // highest levels of the test; `failure` as RecordingFailureReport gives it.
    TestVerdict(const std::vector<Movie>& movies, double preRollAsked, const QVariantMap& levels,
                const QVariantMap& failure);

    const QStringList& lines() const { return lines_; }
    // Whether the test wrote movies and every one of them is sound.
    bool sound() const { return sound_; }

    // A threshold the peak would have passed, on round numbers; nothing for a
    // peak too low to suggest one.
    static std::optional<int> suggestedThreshold(double peak);
    static QString motionSentence(const QVariantMap& camera, bool named);
    static QString soundSentence(const QVariantMap& microphone);

private:
    QString movieLine(const Movie& movie, double preRollAsked, bool& sound) const;

    QStringList lines_;
    bool sound_ = false;
};
