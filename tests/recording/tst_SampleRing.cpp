#include "SampleRing.h"

#include <QTest>
#include <memory>

// Payloads are shared pointers here so the tests can see that the ring shares
// them and releases what it drops.
using Payload = std::shared_ptr<int>;
using Ring = SampleRing<Payload>;

class tst_SampleRing : public QObject {
    Q_OBJECT

    static QList<double> times(const Ring& ring) {
        QList<double> result;
        for (std::size_t i = 0; i < ring.size(); ++i) {
            result << ring.at(i).time;
        }
        return result;
    }
    template <typename Entries>
    static QList<double> times(const Entries& entries) {
        QList<double> result;
        for (const auto& entry : entries) {
            result << entry.time;
        }
        return result;
    }
    static Payload payload(int value = 0) { return std::make_shared<int>(value); }

private Q_SLOTS:
    void appendKeepsOrderEvenForOlderTimes() {
        Ring ring;
        ring.append(2.0, true, payload());
        ring.append(1.0, false, payload());
        QCOMPARE(times(ring), (QList<double>{2.0, 1.0}));
        QCOMPARE(ring.newest().time, 1.0);
    }

    void trimmingAnEmptyRingDoesNothing() {
        Ring ring;
        ring.trim(5);
        QVERIFY(ring.empty());
    }

    void onlyKeyframeNewerThanTheCutoffKeepsEverything() {
        Ring ring;
        ring.append(0.0, false, payload());
        ring.append(1.0, false, payload());
        ring.append(9.0, true, payload());
        ring.append(10.0, false, payload());
        ring.trim(5);  // cutoff 5: the only keyframe (9) is newer
        QCOMPARE(times(ring), (QList<double>{0.0, 1.0, 9.0, 10.0}));
    }

    void keyframeExactlyAtTheCutoffBecomesTheOldest() {
        Ring ring;
        ring.append(0.0, true, payload());
        ring.append(4.0, false, payload());
        ring.append(5.0, true, payload());
        ring.append(6.0, false, payload());
        ring.append(10.0, false, payload());
        ring.trim(5);  // cutoff 5.0
        QCOMPARE(times(ring), (QList<double>{5.0, 6.0, 10.0}));
    }

    void trimKeepsTheNewestQualifyingKeyframeAndDropsWhatIsInFront() {
        Ring ring;
        for (int i = 0; i <= 90; ++i) {  // 30 frames a second, keyframe every second
            ring.append(i / 30.0, i % 30 == 0, payload());
        }
        ring.trim(1.5);  // cutoff 1.5: keyframe at 1.0 is the newest at or before it
        QCOMPARE(ring.oldest().time, 1.0);
        QVERIFY(ring.oldest().isKeyframe);
        QCOMPARE(ring.size(), std::size_t(61));
    }

    void audioTrimsToTheNewestEntryAtOrBeforeTheCutoff() {
        Ring ring;
        for (int i = 0; i < 100; ++i) {
            ring.append(i * 0.02, true, payload());
        }
        ring.trim(1.0);  // newest 1.98, cutoff 0.98
        QCOMPARE(ring.oldest().time, 49 * 0.02);
    }

    void trimOutOfTimeOrderWalksFromTheNewestEntry() {
        Ring ring;
        ring.append(0.0, true, payload());
        ring.append(6.0, true, payload());
        ring.append(2.0, true, payload());  // appended late with an older time
        ring.append(10.0, false, payload());
        ring.trim(5);  // cutoff 5: from the newest end, 2.0 is the first keyframe at or before it
        QCOMPARE(times(ring), (QList<double>{2.0, 10.0}));
    }

    void theCapRemovesTheOldestEntry() {
        Ring ring;
        for (std::size_t i = 0; i < Ring::maxEntries; ++i) {
            ring.append(double(i), false, payload());
        }
        QCOMPARE(ring.size(), std::size_t(20000));
        QCOMPARE(ring.oldest().time, 0.0);
        ring.append(20000.0, false, payload());
        QCOMPARE(ring.size(), std::size_t(20000));
        QCOMPARE(ring.oldest().time, 1.0);
        QCOMPARE(ring.newest().time, 20000.0);
    }

    void anOvergrownRingIsCutToTheCapOnTheNextAppend() {
        Ring ring;
        for (int i = 0; i < 25000; ++i) {
            ring.appendUncapped(double(i), false, payload());
        }
        ring.append(25000.0, false, payload());
        QCOMPARE(ring.size(), std::size_t(20000));
        QCOMPARE(ring.oldest().time, 5001.0);
        QCOMPARE(ring.newest().time, 25000.0);
    }

    void keyframeTimeWithEveryKeyframeAtOrBeforeTheFloorIsAbsent() {
        Ring ring;
        ring.append(1.0, true, payload());
        ring.append(2.0, true, payload());
        ring.append(2.5, false, payload());
        QVERIFY(!ring.keyframeTime(2.0, 10.0).has_value());
    }

    void keyframeTimeWithKeyframesOnlyAfterTheTargetIsTheOldestOfThem() {
        Ring ring;
        ring.append(1.0, true, payload());
        ring.append(3.0, true, payload());
        ring.append(4.0, true, payload());
        ring.append(5.0, true, payload());
        QCOMPARE(ring.keyframeTime(1.0, 2.0), std::optional<double>(3.0));
    }

    void keyframeTimeWithoutAFloorConsidersEveryKeyframe() {
        Ring ring;
        ring.append(1.0, true, payload());
        ring.append(2.0, false, payload());
        ring.append(3.0, true, payload());
        QCOMPARE(ring.keyframeTime(std::nullopt, 0.5), std::optional<double>(1.0));
        QCOMPARE(ring.keyframeTime(std::nullopt, 2.9), std::optional<double>(1.0));
        QCOMPARE(ring.keyframeTime(std::nullopt, 3.0), std::optional<double>(3.0));
        QCOMPARE(ring.keyframeTime(1.0, 2.9), std::optional<double>(3.0));
    }

    void keyframeTimeOfAnEmptyRingIsAbsent() {
        Ring ring;
        QVERIFY(!ring.keyframeTime(std::nullopt, 1.0).has_value());
    }

    void entriesFromLaterThanTheNewestIsEmpty() {
        Ring ring;
        ring.append(1.0, true, payload());
        ring.append(2.0, false, payload());
        QVERIFY(ring.entriesFrom(2.5).empty());
    }

    void entriesFromAnEntrysTimeIncludesIt() {
        Ring ring;
        ring.append(1.0, true, payload());
        ring.append(2.0, false, payload());
        ring.append(3.0, true, payload());
        QCOMPARE(times(ring.entriesFrom(2.0)), (QList<double>{2.0, 3.0}));
    }

    void entriesFromSharesThePayloads() {
        Ring ring;
        const Payload shared = payload(42);
        ring.append(1.0, true, shared);
        const auto entries = ring.entriesFrom(0);
        QCOMPARE(entries.size(), std::size_t(1));
        QCOMPARE(entries.front().payload.get(), shared.get());
        QCOMPARE(shared.use_count(), 3L);  // test, ring, copied entry
    }

    void droppedEntriesReleaseTheirPayloads() {
        Ring ring;
        const Payload first = payload();
        ring.append(0.0, true, first);
        ring.append(5.0, true, payload());
        ring.append(10.0, true, payload());
        QCOMPARE(first.use_count(), 2L);
        ring.trim(5);
        QCOMPARE(first.use_count(), 1L);
    }

    void clearEmptiesTheRing() {
        Ring ring;
        ring.append(0.0, true, payload());
        ring.clear();
        QVERIFY(ring.empty());
        ring.append(1.0, true, payload());
        QCOMPARE(times(ring), (QList<double>{1.0}));
    }
};

QTEST_GUILESS_MAIN(tst_SampleRing)
#include "tst_SampleRing.moc"
