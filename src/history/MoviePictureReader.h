#pragma once

#include "GstHandle.h"

#include <QImage>
#include <QString>
#include <optional>

// Takes pictures out of one movie at increasing offsets through one open
// pipeline (demuxer, decoder, colour conversion), seeking for each picture
// instead of decoding the whole movie. A seek decodes from the keyframe at or
// before the wanted moment up to it. Nelvo's movies start on a keyframe and
// have one every second, and the time-lapse wants whole even seconds, so a
// picture usually costs one decoded keyframe. The moment asked for lies
// `keyframeTolerance` after the wanted one: a keyframe a few milliseconds
// late (camera timing) is then still the one decoded, instead of the whole
// second before it.
class MoviePictureReader {
public:
    static constexpr double keyframeTolerance = 0.02;  // seconds, under a frame at 30 fps
    // The widest and tallest picture read: a movie claiming more is not
    // decoded at all, so a crafted header cannot make gigabyte buffers.
    static constexpr int largestSide = 4096;

    explicit MoviePictureReader(const QString& moviePath);
    ~MoviePictureReader();
    MoviePictureReader(const MoviePictureReader&) = delete;
    MoviePictureReader& operator=(const MoviePictureReader&) = delete;

    // Whether the movie could be opened and its video decoded (no larger
    // than largestSide either way).
    bool isOpen() const { return open_; }
    // The picture shown at `offset` seconds; a null image when there is none.
    QImage pictureAt(double offset);

    // The movie's duration in seconds as its demuxer reports it, or nothing
    // when the file is no readable movie.
    static std::optional<double> duration(const QString& moviePath);

private:
    GstHandle<GstSample> seek(double offset);

    GstHandle<GstElement> pipeline_;
    GstElement* sink_ = nullptr;  // owned by the pipeline
    bool open_ = false;
};
