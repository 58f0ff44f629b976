#include "PulseAudioServer.h"
#include "SoundServerInput.h"

#include <QTemporaryDir>
#include <QTest>
#include <mutex>

namespace {

// The changes reported, from the sound server client's thread.
class Changes {
public:
    SoundServerInput::Changed recorder() {
        return [this](const QString& source) {
            std::lock_guard guard(mutex_);
            sources_ << source;
        };
    }
    QStringList sources() const {
        std::lock_guard guard(mutex_);
        return sources_;
    }

private:
    mutable std::mutex mutex_;
    QStringList sources_;
};

}  // namespace

// Following the sound server's default source, on a server the test starts.
class tst_SoundServerInput : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void withoutASoundServerThereIsNothingToFollow() {
        QTemporaryDir nowhere;
        qputenv("PULSE_SERVER", ("unix:" + nowhere.filePath("native")).toUtf8());
        SoundServerInput input;
        Changes changes;
        QCOMPARE(input.start(changes.recorder()), std::nullopt);
    }

    void theInputAtTheStartThenEachChangeIsReported() {
        if (!PulseAudioServer::isInstalled()) {
            QSKIP("pulseaudio is not installed");
        }
        PulseAudioServer server;
        QVERIFY2(server.isRunning(), qPrintable(server.problem()));
        QVERIFY(server.serveTwoSources());

        SoundServerInput input;
        Changes changes;
        QCOMPARE(input.start(changes.recorder()), std::optional<QString>("first.monitor"));
        QVERIFY(changes.sources().isEmpty());  // the start is no change

        QVERIFY(server.setDefaultSource("second.monitor"));
        QTRY_COMPARE_WITH_TIMEOUT(changes.sources(), QStringList{"second.monitor"}, 5000);
        QVERIFY(server.setDefaultSource("first.monitor"));
        QTRY_COMPARE_WITH_TIMEOUT(changes.sources(),
                                  QStringList({"second.monitor", "first.monitor"}), 5000);
        // Other server events (a new sink) are no change of input.
        QVERIFY(server.loadNullSink("third", "Third"));
        QTest::qWait(300);
        QCOMPARE(changes.sources().size(), 2);

        input.stop();
        QVERIFY(server.setDefaultSource("third.monitor"));
        QTest::qWait(300);
        QCOMPARE(changes.sources().size(), 2);
    }
};

QTEST_GUILESS_MAIN(tst_SoundServerInput)
#include "tst_SoundServerInput.moc"
