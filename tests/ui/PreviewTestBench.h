#pragma once

// A real capture manager on the demo camera for the preview's tests: the
// recording controller stays armed and notes the recordings asked for.

#include "CaptureManager.h"
#include "CaptureSource.h"
#include "Defaults.h"
#include "DemoCamera.h"
#include "FixedDevices.h"
#include "PreviewFrame.h"
#include "SystemClock.h"
#include "ZoneEditorView.h"

#include <QColor>
#include <QImage>
#include <QRect>
#include <QStringList>
#include <QTest>
#include <cmath>
#include <functional>
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

// A Y'CbCr colour as the preview shows it: BT.601, limited range, worked out
// in floating point from the standard's coefficients.
inline QColor bt601(int y, int u, int v) {
    const double l = (y - 16) * 255.0 / 219;
    const double cb = (u - 128) * 255.0 / 224;
    const double cr = (v - 128) * 255.0 / 224;
    const auto clamp = [](double value) {
        return std::clamp(static_cast<int>(std::lround(value)), 0, 255);
    };
    return QColor(clamp(l + 1.402 * cr), clamp(l - 0.344136 * cb - 0.714136 * cr),
                  clamp(l + 1.772 * cb));
}

// The demo scene's wall at a pixel, as the preview shows it: its luma with the
// scene's chroma (U 118, V 136).
inline QColor demoWall(int x, int y, int width, int height) {
    int luma = 150 + 40 * x / width - 30 * y / height;
    if ((x / (width / 8) + y / (height / 6)) % 5 == 0) {
        luma += 35;
    }
    return bt601(luma, 118, 136);
}

// A frame of one colour for the preview (I420 unless told), with the pixels
// of `moved` marked moved.
inline PreviewFrame solidFrame(QSize size, int y, int u, int v, QRect moved = {},
                               GstVideoFormat format = GST_VIDEO_FORMAT_I420) {
    GstVideoInfo info;
    gst_video_info_set_format(&info, format, size.width(), size.height());
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), nullptr);
    GstVideoFrame frame;
    gst_video_frame_map(&frame, &info, buffer, GST_MAP_WRITE);
    const int values[] = {y, u, v};
    for (int c = 0; c < 3; ++c) {
        auto* data = static_cast<std::uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(&frame, c));
        const int stride = GST_VIDEO_FRAME_COMP_STRIDE(&frame, c);
        const int step = GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, c);
        for (int row = 0; row < GST_VIDEO_FRAME_COMP_HEIGHT(&frame, c); ++row) {
            for (int column = 0; column < GST_VIDEO_FRAME_COMP_WIDTH(&frame, c); ++column) {
                data[row * stride + column * step] = static_cast<std::uint8_t>(values[c]);
            }
        }
    }
    gst_video_frame_unmap(&frame);
    auto caps = GstHandle<GstCaps>::adopt(gst_video_info_to_caps(&info));
    PreviewFrame preview;
    preview.sample =
        GstHandle<GstSample>::adopt(gst_sample_new(buffer, caps.get(), nullptr, nullptr));
    gst_buffer_unref(buffer);
    gst_video_info_from_caps(&preview.info, caps.get());
    auto mask = std::make_shared<std::vector<std::uint8_t>>(
        static_cast<std::size_t>(size.width()) * size.height(), 0);
    for (int row = moved.top(); row <= moved.bottom(); ++row) {
        for (int column = moved.left(); column <= moved.right(); ++column) {
            (*mask)[static_cast<std::size_t>(row) * size.width() + column] = 1;
        }
    }
    preview.mask = std::move(mask);
    return preview;
}

// A press, a move and a release on an editor, in normalised picture points.
inline void dragOn(ZoneEditorView* editor, QPointF from, QPointF to) {
    const QRectF picture = editor->pictureRect();
    const auto at = [&](QPointF p) {
        return QPointF(picture.left() + p.x() * picture.width(),
                       picture.top() + p.y() * picture.height())
            .toPoint();
    };
    QTest::mousePress(editor, Qt::LeftButton, {}, at(from));
    QTest::mouseMove(editor, at(to));
    QTest::mouseRelease(editor, Qt::LeftButton, {}, at(to));
}

inline bool isRed(const QColor& c) {
    return c.red() > 200 && c.green() < 60 && c.blue() < 60;
}

inline bool close(const QColor& a, const QColor& b, int tolerance) {
    return std::abs(a.red() - b.red()) <= tolerance &&
           std::abs(a.green() - b.green()) <= tolerance &&
           std::abs(a.blue() - b.blue()) <= tolerance;
}

// The small demo scene (320x180) as a preview shows it, one pixel to one:
// the wall at its scene colour where no shape and no object lies, and, while
// the object crosses the middle half of the rows, red moved pixels there (and
// within the blur's reach) and nowhere else. `grab` gives the picture drawn.
// The caller checks QTest::currentTestFailed() afterwards.
inline void verifyTheDemoSceneIsDrawn(const std::function<QImage()>& grab) {
    const QImage still = grab();
    for (const QPoint p : {QPoint(60, 20), QPoint(300, 160), QPoint(100, 170)}) {
        const QColor expected = demoWall(p.x(), p.y(), 320, 180);
        QVERIFY2(close(still.pixelColor(p), expected, 10),
                 qPrintable(still.pixelColor(p).name() + " vs " + expected.name()));
    }
    QImage crossing;
    QTRY_VERIFY_WITH_TIMEOUT(
        [&] {
            crossing = grab();
            int red = 0;
            for (int y = 0; y < 180; y += 2) {
                for (int x = 0; x < 320; x += 2) {
                    red += isRed(crossing.pixelColor(x, y));
                }
            }
            return red > 50;
        }(),
        patience);
    const int margin = 6;  // the blur's reach
    for (int y = 0; y < 180; ++y) {
        const bool band = y >= 45 - margin && y < 135 + margin;
        for (int x = 0; x < 320; ++x) {
            if (!band) {
                QVERIFY2(!isRed(crossing.pixelColor(x, y)),
                         qPrintable(QStringLiteral("red at %1,%2").arg(x).arg(y)));
            }
        }
    }
}

}  // namespace PreviewTestBench
