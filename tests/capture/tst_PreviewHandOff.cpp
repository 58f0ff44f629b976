#include "PreviewHandOff.h"

#include <QTest>
#include <thread>
#include <vector>

namespace {

PreviewFrame frameOf(int width) {
    GstVideoInfo info;
    gst_video_info_set_format(&info, GST_VIDEO_FORMAT_I420, width, 16);
    GstBuffer* buffer = gst_buffer_new_allocate(nullptr, info.size, nullptr);
    auto caps = GstHandle<GstCaps>::adopt(gst_video_info_to_caps(&info));
    PreviewFrame frame;
    frame.sample =
        GstHandle<GstSample>::adopt(gst_sample_new(buffer, caps.get(), nullptr, nullptr));
    gst_buffer_unref(buffer);
    frame.info = info;
    frame.mask = std::make_shared<std::vector<std::uint8_t>>(width * 16, 0);
    return frame;
}

}  // namespace

class tst_PreviewHandOff : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { gst_init(nullptr, nullptr); }

    // A newer frame replaces one not yet taken: only the newest arrives.
    void onlyTheNewestFrameIsDelivered() {
        QObject context;
        std::vector<std::pair<int, int>> delivered;  // index, width
        PreviewHandOff handOff(context, [&](int index, const PreviewFrame& frame) {
            delivered.emplace_back(index, frame.size().width());
        });
        std::thread([&] {
            handOff.offer(1, frameOf(32));
            handOff.offer(1, frameOf(48));
        }).join();
        QTRY_COMPARE(delivered.size(), std::size_t(1));
        QCOMPARE(delivered[0], std::make_pair(1, 48));
    }

    // Closing the preview gives the held frame back: nothing is delivered,
    // and the camera's buffer is no longer held.
    void clearingDropsTheFrameNotYetTaken() {
        QObject context;
        int delivered = 0;
        PreviewHandOff handOff(context, [&](int, const PreviewFrame&) { ++delivered; });
        PreviewFrame frame = frameOf(32);
        GstSample* sample = frame.sample.get();
        handOff.offer(0, frame);
        frame = {};
        QCOMPARE(GST_MINI_OBJECT_REFCOUNT_VALUE(sample), 1);
        handOff.clear();
        QCoreApplication::processEvents();
        QCOMPARE(delivered, 0);
    }
};

QTEST_GUILESS_MAIN(tst_PreviewHandOff)
#include "tst_PreviewHandOff.moc"
