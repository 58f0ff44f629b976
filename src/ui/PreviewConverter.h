#pragma once

#include "PreviewFrame.h"

#include <QImage>
#include <QObject>
#include <cstdint>
#include <memory>

// The QPainter path's conversion, off the GUI thread: frames handed in on the
// GUI thread are converted to pictures on a serial queue of the converter's
// own, one at a time. Newest only: while one frame is being converted, the
// next waits here, and a newer frame replaces the waiting one (which is let
// go at once), so frames never pile up. The worker lets go of the camera's
// frame as soon as it is converted, then hands the picture back to the GUI
// thread. Destroying the converter waits for no conversion: work in flight
// finishes on its own and its picture is dropped.
class PreviewConverter : public QObject {
    Q_OBJECT

public:
    // What one conversion gave, with the worker's counters at that point.
    struct Result {
        QImage image;  // null when the frame could not be read
        std::uint64_t generation = 0;
        int imagesMade = 0;
        std::uint64_t conversions = 0;
        Qt::HANDLE thread = nullptr;  // the thread that converted
    };

    explicit PreviewConverter(QObject* parent = nullptr);
    ~PreviewConverter() override;

    // GUI thread. `converted` follows once the frame (or a newer one) is done.
    void convert(const PreviewFrame& frame);
    // Forgets the picture, the waiting frame and the one being converted.
    void clear();

    const QImage& image() const { return image_; }

    // Counters for tests and benchmarks: pools made, frames converted, frames
    // replaced while waiting, and the thread of the last conversion.
    int imagesMade() const { return imagesMade_; }
    std::uint64_t conversions() const { return conversions_; }
    std::uint64_t framesReplaced() const { return framesReplaced_; }
    Qt::HANDLE conversionThread() const { return conversionThread_; }

Q_SIGNALS:
    void converted();

private:
    class Worker;

    void start(PreviewFrame frame);
    void take(const Result& result);

    std::shared_ptr<Worker> worker_;
    PreviewFrame waiting_;
    bool converting_ = false;
    std::uint64_t generation_ = 0;  // results of an older generation are dropped
    QImage image_;
    int imagesMade_ = 0;
    std::uint64_t conversions_ = 0;
    std::uint64_t framesReplaced_ = 0;
    Qt::HANDLE conversionThread_ = nullptr;
};
