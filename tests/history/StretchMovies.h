#pragma once

#include "Defaults.h"
#include "Event.h"
#include "GstHandle.h"

#include <QDateTime>
#include <QImage>
#include <QString>
#include <QTemporaryDir>
#include <optional>
#include <vector>

// Real recordings of an armed stretch for the time-lapse tests and the
// benchmark: video encoded with Nelvo's encoder settings (a ball on grey
// with a running clock), PCM audio, written by Nelvo's recorder under the
// names and with the stills the recordings folder holds.
class StretchMovies {
public:
    struct Options {
        int width = 320;
        int height = 240;
        int fps = 30;
        double seconds = 40;  // the longest recording it can make
    };

    explicit StretchMovies(const Options& options);

    // Records `seconds` from the start of the media into `folder`, named after
    // `start` and the devices, with its still. Frames between `lostFrom` and
    // `lostTo` seconds are lost. The movie's path after any renaming, or
    // nothing when the recorder reported an error.
    std::optional<QString> record(const QString& folder, const QDateTime& start,
                                  const QString& camera, const std::optional<QString>& microphone,
                                  double seconds, double lostFrom = -1, double lostTo = -1);

    // The events of a folder's recordings between `from` and `to`.
    static std::vector<Event> eventsIn(const QString& folder, const QDateTime& from,
                                       const QDateTime& to);

    // One decoded picture, by ffmpeg: the frame shown at `seconds`, or frame
    // number `index` of the movie.
    static QImage pictureAt(const QString& moviePath, double seconds);
    static QImage frameNumber(const QString& moviePath, int index);
    // The share of pixels inside `area` whose grey levels differ by more
    // than a compression error could (32 of 255); 1 for pictures of
    // different sizes.
    static double differingShare(const QImage& a, const QImage& b, const QRect& area);
    static double meanGrey(const QImage& image, const QRect& area);

private:
    Options options_;
    std::vector<GstHandle<GstSample>> video_;
    std::vector<GstHandle<GstSample>> audio_;
    QTemporaryDir settingsDir_;
    Defaults defaults_;
};
