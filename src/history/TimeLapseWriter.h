#pragma once

#include "GstHandle.h"

#include <QImage>
#include <QSize>
#include <QString>
#include <functional>
#include <optional>

// Encodes canvases drawn in 32-bit BGRA (premultiplied, the byte order of
// QImage's ARGB32 on this machine) as H.264 in a QuickTime movie, picture n
// presented at n/4 seconds. Not real time: a caller drawing faster than the
// encoder waits for it.
class TimeLapseWriter {
public:
    static constexpr int picturesPerSecond = 4;

    TimeLapseWriter() = default;
    ~TimeLapseWriter();
    TimeLapseWriter(const TimeLapseWriter&) = delete;
    TimeLapseWriter& operator=(const TimeLapseWriter&) = delete;

    // Creates the movie file (new, private to its owner) and starts the
    // encoder; false when the file cannot be created or the pipeline cannot start.
    bool open(const QString& filePath, QSize canvas);
    // Draws the next canvas into a buffer of the writer's pool and appends
    // it; false once the writer has failed.
    bool append(const std::function<void(QImage& canvas)>& draw);
    // Ends the movie at n/4 seconds and waits until the file is complete; the
    // writer's error text when it did not complete (empty when it gave none).
    std::optional<QString> finish();
    // Stops at once and closes the file as far as it was written.
    void stop();

    int appended() const { return appended_; }

private:
    bool start(const QString& filePath, QSize canvas);
    bool waitUntilReady();
    std::optional<QString> pendingError();

    int fd_ = -1;  // the movie file, written by the pipeline
    GstHandle<GstElement> pipeline_;
    GstElement* source_ = nullptr;  // owned by the pipeline
    GstHandle<GstBufferPool> pool_;
    QSize canvas_;
    int appended_ = 0;
    std::optional<QString> error_;
};
