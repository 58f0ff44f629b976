#pragma once

#include "Event.h"

#include <QDateTime>
#include <QHash>
#include <QString>
#include <optional>
#include <vector>

// Which pictures make up the time-lapse of an armed stretch and in which
// order: the still beside each movie, and one picture every 2 seconds of each
// movie, each with the moment it shows and the camera it came from. Decides
// only; reading pictures and writing the movie is TimeLapseRenderer's work.
namespace TimeLapse {

// Seconds between two pictures taken from one movie.
constexpr double pictureSpacing = 2.0;

// Where a picture comes from: a JPEG still, or a movie at an offset.
struct Source {
    enum class Kind { still, movie };

    Kind kind = Kind::still;
    QString url;        // absolute path of the file
    double offset = 0;  // seconds from the movie's start; 0 for a still

    static Source still(QString url) { return {Kind::still, std::move(url), 0}; }
    static Source movie(QString url, double offset) {
        return {Kind::movie, std::move(url), offset};
    }

    friend bool operator==(const Source&, const Source&) = default;
};

struct Frame {
    Source source;
    QDateTime time;                 // the wall-clock moment the picture shows
    std::optional<QString> camera;  // from the file name

    friend bool operator==(const Frame&, const Frame&) = default;
};

// Why no time-lapse was made.
struct Failure {
    enum class Kind { couldNotWrite, nothingReadable };

    Kind kind = Kind::nothingReadable;
    QString reason;  // why the movie could not be written; empty otherwise

    static Failure couldNotWrite(QString reason) {
        return {Kind::couldNotWrite, std::move(reason)};
    }
    static Failure nothingReadable() { return {Kind::nothingReadable, {}}; }

    friend bool operator==(const Failure&, const Failure&) = default;
};

// Movie path (as it appears in the events) to its duration in seconds.
using Durations = QHash<QString, double>;

// How long a recording can have gone on past the next recording of its
// camera (which may share the pre-roll with it) or past the end of its
// stretch (finishing, or a stretch closed at the last sign of life before a
// crash).
constexpr double runAllowance = 120.0;

// The longest each movie of the events can have run, from the file names
// alone: until the next recording of the same camera began, or until the
// stretch ended, each plus runAllowance. A movie's header is not trusted
// beyond that.
Durations longestRuns(const std::vector<Event>& events, const QDateTime& stretchEnd);

// The frames of a stretch's events in playing order: by time, and at equal
// times in the order they were gathered (a movie's still before its first
// picture, movies sorted by path within an event).
std::vector<Frame> frames(const std::vector<Event>& events, const Durations& durations);

// The camera named in a recording's file name (a last path component), or
// nothing.
std::optional<QString> cameraName(const QString& fileName);

// Whether more than one distinct camera name occurs among the frames.
bool hasSeveralCameras(const std::vector<Frame>& frames);

}  // namespace TimeLapse
