#pragma once

#include "ArmedStretch.h"
#include "Event.h"
#include "TimeLapse.h"

#include <QImage>
#include <QLocale>
#include <QPainter>
#include <QRect>
#include <QString>
#include <QTimeZone>
#include <atomic>
#include <functional>
#include <optional>
#include <vector>

// Writes the time-lapse movie of an armed stretch: loads the durations of
// its movies, lets TimeLapse choose the frames, reads each picture, draws it
// letterboxed on a black canvas with its time (and camera, when several took
// part) in the lower-left corner and encodes the canvases as H.264 in a
// QuickTime movie at 4 pictures a second. Keeps no state; `render` blocks
// and belongs on a worker thread.
namespace TimeLapseRenderer {

struct Request {
    ArmedStretch stretch;
    std::vector<Event> events;
    QString folder;  // where the movie goes
    QTimeZone zone;
    QLocale locale;
};

// The finished movie's path, or why there is none.
struct Outcome {
    QString path;
    std::optional<TimeLapse::Failure> failure;
    bool cancelled = false;  // stopped on request; nothing was left behind
};

// Told the fraction done (0 to 1) as the work goes on, on the rendering thread.
using Progress = std::function<void(double fraction)>;

// Another thread sets it to stop a render between two pictures.
using Cancel = std::atomic<bool>;

// Movies are read no longer than their names and their neighbours allow
// (TimeLapse::longestRuns) and pictures no larger than
// MoviePictureReader::largestSide a side (stills larger than that are scaled
// down as they are read), whatever the files' headers claim.
Outcome render(const Request& request, const Progress& progress = {},
               const Cancel* cancel = nullptr);

// "What happened 2024-05-01 22.15 to 01.40.mov" and its variants.
QString outputName(const ArmedStretch& stretch, const QTimeZone& zone);
// The hidden file the movie is written to before it gets its name.
QString workFileName();
// The time the frame shows, in the locale's hours-minutes-seconds pattern,
// and " · " and the camera when cameras are shown.
QString label(const TimeLapse::Frame& frame, bool showCameras, const QTimeZone& zone,
              const QLocale& locale);
// The locale's 24-hour hours-minutes-seconds pattern.
QString timePattern(const QLocale& locale);
// The rectangle a picture is drawn into, centred and scaled to fit, in
// bottom-left-origin coordinates; empty when any size is not positive.
QRect fitRect(int pictureWidth, int pictureHeight, int canvasWidth, int canvasHeight);
// The label's font size for a canvas height.
int fontSize(int canvasHeight);
// Paints one canvas: black, the picture letterboxed, the label in a dark box
// in the lower-left corner.
void drawFrame(const QImage* picture, const QString& label, QPainter& painter, int canvasWidth,
               int canvasHeight);

}  // namespace TimeLapseRenderer
