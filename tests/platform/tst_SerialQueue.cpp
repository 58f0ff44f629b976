#include "SerialQueue.h"

#include <QDir>
#include <QTest>
#include <atomic>
#include <chrono>
#include <memory>
#include <semaphore>
#include <thread>
#include <vector>

using namespace std::chrono_literals;

namespace {

int threadsInProcess() {
    return static_cast<int>(
        QDir("/proc/self/task").entryList(QDir::Dirs | QDir::NoDotAndDotDot).size());
}

}  // namespace

class tst_SerialQueue : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void runsWorkInOrderOnItsOwnThread() {
        SerialQueue queue("Ordered");
        std::vector<int> seen;
        std::thread::id worker;
        for (int i = 0; i < 1000; ++i) {
            queue.async([&, i] {
                seen.push_back(i);
                worker = std::this_thread::get_id();
            });
        }
        queue.drain();
        QCOMPARE(seen.size(), size_t(1000));
        for (int i = 0; i < 1000; ++i) {
            QCOMPARE(seen[size_t(i)], i);
        }
        QVERIFY(worker != std::this_thread::get_id());
    }

    void syncWaitsForTheWorkAndRunsInlineOnItself() {
        SerialQueue queue("Sync");
        int value = 0;
        queue.async([&] {
            std::this_thread::sleep_for(20ms);
            value = 1;
        });
        queue.sync([&] { value += 1; });
        QCOMPARE(value, 2);
        bool nestedRan = false;
        queue.sync([&] { queue.sync([&] { nestedRan = queue.isCurrent(); }); });
        QVERIFY(nestedRan);
        QVERIFY(!queue.isCurrent());
    }

    void asyncAfterRunsWhenDueAndInDueOrder() {
        SerialQueue queue("Delayed");
        std::vector<int> order;
        const auto start = SerialQueue::Clock::now();
        SerialQueue::Clock::time_point ranAt;
        queue.asyncAfter(60ms, [&] {
            order.push_back(2);
            ranAt = SerialQueue::Clock::now();
        });
        queue.asyncAfter(20ms, [&] { order.push_back(1); });
        queue.async([&] { order.push_back(0); });
        std::this_thread::sleep_for(150ms);
        queue.drain();
        QCOMPARE(order, (std::vector<int>{0, 1, 2}));
        QVERIFY(ranAt - start >= 60ms);
    }

    // Work delayed while the queue waits for its earliest delayed item grows
    // the list that item is in; the wait must not hold on to its old place.
    void delayedWorkAddedDuringAWaitRunsSafely() {
        SerialQueue queue("Growing");
        std::atomic<int> ran{0};
        queue.asyncAfter(50ms, [&] { ++ran; });
        std::this_thread::sleep_for(10ms);  // the queue now waits for it
        for (int i = 0; i < 16; ++i) {
            queue.asyncAfter(60ms, [&] { ++ran; });
        }
        QTRY_COMPARE_WITH_TIMEOUT(ran.load(), 17, 5000);
    }

    void largeTasksAreKeptWhole() {
        SerialQueue queue("Large");
        std::array<long, 64> big{};
        big.fill(3);
        long sum = 0;
        queue.async([&sum, big] {
            for (long v : big) {
                sum += v;
            }
        });
        queue.drain();
        QCOMPARE(sum, 192L);
    }

    void destructionRunsQueuedWorkAndDropsFutureWork() {
        std::atomic<int> ran{0};
        auto captured = std::make_shared<int>(7);
        std::weak_ptr<int> watch = captured;
        {
            SerialQueue queue("Shutdown");
            for (int i = 0; i < 100; ++i) {
                queue.async([&ran] { ++ran; });
            }
            queue.asyncAfter(10s, [&ran, captured] { ran += 1000; });
            captured.reset();
        }
        QCOMPARE(ran.load(), 100);
        QVERIFY(watch.expired());  // the dropped task released what it held
    }

    // The last owner of a queue may be work running on that very queue.
    void destructionOnItsOwnThreadRunsQueuedWorkAndEndsTheThread() {
        const int threadsBefore = threadsInProcess();
        std::atomic<int> ran{0};
        int ranWhenDestroyed = -1;
        auto captured = std::make_shared<int>(7);
        std::weak_ptr<int> watch = captured;
        std::binary_semaphore gate(0);
        auto* queue = new SerialQueue("SelfDestroyed");
        queue->async([&gate] { gate.acquire(); });
        queue->async([queue, &ran, &ranWhenDestroyed] {
            delete queue;
            ranWhenDestroyed = ran.load();
        });
        for (int i = 0; i < 10; ++i) {
            queue->async([&ran] { ++ran; });
        }
        queue->asyncAfter(10s, [&ran, captured] { ran += 1000; });
        captured.reset();
        gate.release();
        QTRY_VERIFY_WITH_TIMEOUT(threadsInProcess() == threadsBefore, 5000);
        QCOMPARE(ranWhenDestroyed, 10);
        QCOMPARE(ran.load(), 10);
        QVERIFY(watch.expired());
    }

    void manyProducersLoseNothing() {
        SerialQueue queue("Producers");
        long total = 0;
        std::vector<std::thread> producers;
        for (int p = 0; p < 4; ++p) {
            producers.emplace_back([&] {
                for (int i = 1; i <= 10000; ++i) {
                    queue.async([&total, i] { total += i; });
                }
            });
        }
        for (auto& t : producers) {
            t.join();
        }
        queue.drain();
        QCOMPARE(total, 4L * 10000 * 10001 / 2);
    }
};

QTEST_GUILESS_MAIN(tst_SerialQueue)
#include "tst_SerialQueue.moc"
