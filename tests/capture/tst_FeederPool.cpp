#include "FeederPool.h"

#include <QTest>
#include <thread>
#include <vector>

// The buffers the built-in sources fill: a pool without a bound keeps giving
// while the pre-roll ring holds what it gave, and a stopping source is never
// left waiting on a bounded one.
class tst_FeederPool : public QObject {
    Q_OBJECT

    static GstHandle<GstCaps> pcm() {
        return GstHandle<GstCaps>::adopt(gst_caps_from_string(
            "audio/x-raw,format=S16LE,layout=interleaved,rate=48000,channels=1"));
    }

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    void withoutABoundItGivesWhileEveryBufferIsHeld() {
        FeederPool pool(pcm().get(), 960, 4, 0);
        std::vector<GstHandle<GstBuffer>> held;
        for (int i = 0; i < 500; ++i) {
            GstBuffer* buffer = pool.acquire();
            QVERIFY(buffer);
            QCOMPARE(gst_buffer_get_size(buffer), gsize(960));
            held.push_back(GstHandle<GstBuffer>::adopt(buffer));
        }
    }

    void buffersLetGoAreGivenAgain() {
        FeederPool pool(pcm().get(), 960, 1, 0);
        GstBuffer* first = pool.acquire();
        QVERIFY(first);
        gst_buffer_unref(first);
        GstBuffer* again = pool.acquire();
        QCOMPARE(again, first);
        gst_buffer_unref(again);
    }

    void interruptingEndsAWaitOnAFullPool() {
        FeederPool pool(pcm().get(), 960, 2, 2);
        auto a = GstHandle<GstBuffer>::adopt(pool.acquire());
        auto b = GstHandle<GstBuffer>::adopt(pool.acquire());
        QVERIFY(a && b);
        std::thread stopper([&pool] {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            pool.interrupt();
        });
        QCOMPARE(pool.acquire(), nullptr);  // waits until interrupted
        stopper.join();
        pool.resume();
        a.reset();
        GstBuffer* after = pool.acquire();
        QVERIFY(after);
        gst_buffer_unref(after);
    }
};

QTEST_GUILESS_MAIN(tst_FeederPool)
#include "tst_FeederPool.moc"
