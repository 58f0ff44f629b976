#include "NetworkCameraFacts.h"

#include <QCoreApplication>
#include <QTest>
#include <QThread>
#include <memory>
#include <thread>

class tst_NetworkCameraFacts : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // A camera's stream thread posts; the spacing is taken and `changed`
    // emitted on the main thread, where the windows read it.
    void aSpacingPostedFromAnotherThreadArrivesOnTheMainThread() {
        NetworkCameraFacts facts;
        QThread* emittedOn = nullptr;
        std::optional<double> seenInChanged;
        // Direct, so that the thread seen is the one that emitted.
        connect(
            &facts, &NetworkCameraFacts::changed, this,
            [&] {
                emittedOn = QThread::currentThread();
                seenInChanged = facts.keyframeSpacing(QStringLiteral("rtsp-yard"));
            },
            Qt::DirectConnection);
        std::thread camera([target = QPointer(&facts)] {
            NetworkCameraFacts::post(target, QStringLiteral("rtsp-yard"), 4.0);
        });
        camera.join();
        QVERIFY(!facts.keyframeSpacing(QStringLiteral("rtsp-yard")));
        QTRY_VERIFY_WITH_TIMEOUT(emittedOn != nullptr, 10000);
        QCOMPARE(emittedOn, QCoreApplication::instance()->thread());
        QCOMPARE(seenInChanged, std::optional(4.0));
        QCOMPARE(facts.keyframeSpacing(QStringLiteral("rtsp-other")), std::nullopt);
    }

    // Facts gone before the post arrives are left alone.
    void aPostToFactsGoneIsDropped() {
        auto facts = std::make_unique<NetworkCameraFacts>();
        std::thread camera([target = QPointer(facts.get())] {
            NetworkCameraFacts::post(target, QStringLiteral("rtsp-yard"), 4.0);
        });
        camera.join();
        facts.reset();
        // The post is delivered after this marker, which follows it in the queue.
        bool delivered = false;
        QMetaObject::invokeMethod(
            this, [&] { delivered = true; }, Qt::QueuedConnection);
        QTRY_VERIFY_WITH_TIMEOUT(delivered, 10000);
    }
};

QTEST_GUILESS_MAIN(tst_NetworkCameraFacts)
#include "tst_NetworkCameraFacts.moc"
