#include "PreviewConverter.h"

#include "PreviewPicture.h"
#include "SerialQueue.h"

#include <QThread>

// The worker's side, shared by the converter and the work in flight: whoever
// lets go last destroys it, on the queue's own thread when that is the work
// (the queue then ends by itself), so the GUI thread never waits for a
// conversion. Its signal reaches the converter through a queued connection,
// which Qt drops once the converter is gone.
class PreviewConverter::Worker : public QObject {
    Q_OBJECT

public:
    void convert(PreviewFrame& frame, std::uint64_t generation) {
        Result result;
        if (picture.convert(frame)) {
            result.image = picture.image();
        }
        frame = {};  // back to the camera's pool before the picture is handed over
        result.generation = generation;
        result.imagesMade = picture.imagesMade();
        result.conversions = static_cast<std::uint64_t>(picture.conversions());
        result.thread = QThread::currentThreadId();
        Q_EMIT finished(result);
    }

    void clear() { picture.clear(); }

    // The queue comes last so that it is destroyed first: its thread stops
    // before the picture goes.
    PreviewPicture picture;
    SerialQueue queue{"PreviewConvert"};

Q_SIGNALS:
    void finished(const PreviewConverter::Result& result);
};

PreviewConverter::PreviewConverter(QObject* parent)
    : QObject(parent), worker_(std::make_shared<Worker>()) {
    connect(worker_.get(), &Worker::finished, this, &PreviewConverter::take, Qt::QueuedConnection);
}

PreviewConverter::~PreviewConverter() {
    // Work in flight still holds the worker; it finishes and is dropped there.
    disconnect(worker_.get(), nullptr, this, nullptr);
}

void PreviewConverter::convert(const PreviewFrame& frame) {
    if (frame.isNull()) {
        return;
    }
    if (converting_) {
        if (!waiting_.isNull()) {
            ++framesReplaced_;
        }
        waiting_ = frame;
        return;
    }
    start(frame);
}

void PreviewConverter::start(PreviewFrame frame) {
    converting_ = true;
    worker_->queue.async(
        [worker = worker_, frame = std::move(frame), generation = generation_]() mutable {
            worker->convert(frame, generation);
        });
}

void PreviewConverter::clear() {
    waiting_ = {};
    image_ = QImage();
    ++generation_;
    worker_->queue.async([worker = worker_] { worker->clear(); });
}

void PreviewConverter::take(const Result& result) {
    converting_ = false;
    imagesMade_ = result.imagesMade;
    conversions_ = result.conversions;
    conversionThread_ = result.thread;
    const bool current = result.generation == generation_ && !result.image.isNull();
    if (current) {
        image_ = result.image;  // the picture shown before goes back to the pool
    }
    if (!waiting_.isNull()) {
        start(std::move(waiting_));
        waiting_ = {};
    }
    if (current) {
        Q_EMIT converted();
    }
}

#include "PreviewConverter.moc"
