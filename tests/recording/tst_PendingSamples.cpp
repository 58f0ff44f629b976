#include "PendingSamples.h"

#include <QTest>

namespace {

GstHandle<GstSample> sampleAt(GstClockTime pts) {
    GstBuffer* buffer = gst_buffer_new();
    GST_BUFFER_PTS(buffer) = pts;
    auto sample = GstHandle<GstSample>::adopt(gst_sample_new(buffer, nullptr, nullptr, nullptr));
    gst_buffer_unref(buffer);
    return sample;
}

GstClockTime ptsOf(const GstHandle<GstSample>& sample) {
    return GST_BUFFER_PTS(gst_sample_get_buffer(sample.get()));
}

}  // namespace

class tst_PendingSamples : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { gst_init(nullptr, nullptr); }

    void samplesAreTakenOldestFirst() {
        PendingSamples pending;
        QVERIFY(pending.empty());
        for (GstClockTime pts : {1, 2, 3}) {
            pending.push(sampleAt(pts));
        }
        QVERIFY(!pending.empty());
        QCOMPARE(ptsOf(pending.take()), GstClockTime(1));
        QCOMPARE(ptsOf(pending.take()), GstClockTime(2));
        pending.push(sampleAt(4));
        QCOMPARE(ptsOf(pending.take()), GstClockTime(3));
        QCOMPARE(ptsOf(pending.take()), GstClockTime(4));
        QVERIFY(pending.empty());
    }

    void takingTheLastStartsOver() {
        PendingSamples pending;
        pending.push(sampleAt(1));
        pending.take();
        QVERIFY(pending.empty());
        pending.push(sampleAt(2));
        QVERIFY(!pending.empty());
        QCOMPARE(ptsOf(pending.take()), GstClockTime(2));
    }

    void clearingDropsEverySampleAndItsReference() {
        PendingSamples pending;
        GstHandle<GstSample> kept = sampleAt(1);
        pending.push(kept);
        pending.push(sampleAt(2));
        pending.take();
        pending.push(kept);
        QCOMPARE(GST_MINI_OBJECT_REFCOUNT_VALUE(kept.get()), 2);
        pending.clear();
        QVERIFY(pending.empty());
        QCOMPARE(GST_MINI_OBJECT_REFCOUNT_VALUE(kept.get()), 1);
    }
};

QTEST_GUILESS_MAIN(tst_PendingSamples)
#include "tst_PendingSamples.moc"
