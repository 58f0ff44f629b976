#include "FakeMovieRecorder.h"

#include <QFile>

FakeMovieRecorder::FakeMovieRecorder(QDateTime startDate) : startDate_(std::move(startDate)) {}

void FakeMovieRecorder::start(const QString& filePath, Completion onFinish) {
    queue_.async([this, filePath, onFinish = std::move(onFinish)]() mutable {
        std::lock_guard lock(mutex_);
        started_ << filePath;
        open_.push_back({filePath, std::move(onFinish)});
    });
}

void FakeMovieRecorder::roll(const QString& filePath, Completion onFinish) {
    queue_.async([this, filePath, onFinish = std::move(onFinish)]() mutable {
        std::unique_lock lock(mutex_);
        rolled_ << filePath;
        if (open_.empty()) {
            // No recording to continue: answered at once, as every recorder does.
            lock.unlock();
            onFinish(filePath, rollDropped());
            return;
        }
        open_.push_back({filePath, std::move(onFinish)});
    });
}

void FakeMovieRecorder::stop() {
    queue_.async([this] {
        std::lock_guard lock(mutex_);
        ++stops_;
    });
}

QStringList FakeMovieRecorder::started() const {
    std::lock_guard lock(mutex_);
    return started_;
}

QStringList FakeMovieRecorder::rolled() const {
    std::lock_guard lock(mutex_);
    return rolled_;
}

int FakeMovieRecorder::stops() const {
    std::lock_guard lock(mutex_);
    return stops_;
}

int FakeMovieRecorder::openFiles() const {
    std::lock_guard lock(mutex_);
    return static_cast<int>(open_.size());
}

void FakeMovieRecorder::finishNext(std::optional<Error> error, qint64 bytes) {
    queue_.sync([&] {
        Open file;
        {
            std::lock_guard lock(mutex_);
            if (open_.empty()) {
                return;
            }
            file = std::move(open_.front());
            open_.erase(open_.begin());
        }
        if (!error && bytes > 0) {
            QFile out(file.path);
            if (out.open(QIODevice::WriteOnly)) {
                // Small files are really written, so they take space on the volume.
                if (bytes <= (1 << 20)) {
                    out.write(QByteArray(bytes, 'x'));
                } else {
                    out.resize(bytes);
                }
            }
        }
        file.onFinish(file.path, error);
    });
}
