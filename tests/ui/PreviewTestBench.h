#pragma once

// A real capture manager on the demo camera for the preview's tests: the
// recording controller stays armed and notes the recordings asked for.

#include "CaptureManager.h"
#include "CaptureSource.h"
#include "Defaults.h"
#include "DemoCamera.h"
#include "FixedDevices.h"
#include "SystemClock.h"

#include <QColor>
#include <QImage>
#include <QStringList>
#include <mutex>
#include <vector>

namespace PreviewTestBench {

inline constexpr int patience = 15000;  // ms, the longest a real-time step may take under load

// With a folder set it really records each camera into it.
class Controller : public CaptureManagerRecordingController {
public:
    std::optional<int> armedStateRaw() const override { return state; }
    void startRecordings(const std::vector<RecordingTarget>& targets) override {
        starts += static_cast<int>(targets.size());
        state = recording;
        if (folder.isEmpty()) {
            return;
        }
        for (const RecordingTarget& target : targets) {
            const QString path = QStringLiteral("%1/recording-%2.mov").arg(folder).arg(starts);
            target.recorder->start(path, [this](const QString& file, std::optional<Error>) {
                std::lock_guard guard(mutex_);
                finished_ << file;
            });
            recorders_.push_back(target.recorder);
        }
    }
    void stopRecording() override {
        if (state == recording) {
            state = armed;
        }
        for (const auto& recorder : recorders_) {
            recorder->stop();
        }
        recorders_.clear();
    }
    QStringList finishedFiles() {
        std::lock_guard guard(mutex_);
        return finished_;
    }
    void setCameraAvailable(bool) override {}
    void setMicrophoneAvailable(bool) override {}
    bool motionDetectionStopped() const override { return false; }
    void setMotionDetectionStopped(bool) override {}
    void reportGap(const QDateTime&, const QDateTime&) override {}
    void devicesChanged() override {}

    int state = unarmed;
    int starts = 0;
    QString folder;

private:
    std::vector<std::shared_ptr<MovieRecorder>> recorders_;
    std::mutex mutex_;
    QStringList finished_;
};

inline std::unique_ptr<CaptureDevices> cameras(std::vector<std::shared_ptr<CaptureSource>> list) {
    return std::make_unique<FixedDevices>(std::move(list),
                                          std::vector<std::shared_ptr<CaptureSource>>{});
}

inline DemoCamera::Options smallDemo() {
    DemoCamera::Options options;
    options.width = 320;
    options.height = 180;
    return options;
}

// The demo scene's wall at a pixel, as the preview shows it: its luma with the
// scene's chroma (U 118, V 136) in full-range BT.601.
inline QColor demoWall(int x, int y, int width, int height) {
    int luma = 150 + 40 * x / width - 30 * y / height;
    if ((x / (width / 8) + y / (height / 6)) % 5 == 0) {
        luma += 35;
    }
    const double u = 118 - 128.0;
    const double v = 136 - 128.0;
    const auto clamp = [](double value) { return std::clamp(static_cast<int>(value), 0, 255); };
    return QColor(clamp(luma + 1.402 * v), clamp(luma - 0.344 * u - 0.714 * v),
                  clamp(luma + 1.772 * u));
}

inline bool isRed(const QColor& c) {
    return c.red() > 200 && c.green() < 60 && c.blue() < 60;
}

inline bool close(const QColor& a, const QColor& b, int tolerance) {
    return std::abs(a.red() - b.red()) <= tolerance &&
           std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance;
}

}  // namespace PreviewTestBench
