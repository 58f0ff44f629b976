#include "Defaults.h"
#include "NetworkCameraFacts.h"
#include "RecordingLengthsSection.h"
#include "SettingsKeys.h"
#include "TestEnvironment.h"

#include <QFormLayout>
#include <QLabel>
#include <QTest>
#include <QWidget>
#include <thread>

namespace {

const QString fourSeconds = QStringLiteral(
    "This camera sends a full picture every 4 s, so recordings may start up to 4 s earlier than "
    "asked.");

// The section in a shown form of its own, on a settings file of its own.
struct Fixture {
    TestEnvironment environment;
    Defaults defaults{environment.settingsFilePath()};
    QWidget window;
    QFormLayout* form = new QFormLayout(&window);
    NetworkCameraFacts facts;
    RecordingLengthsSection section{defaults, facts, form, &window};

    Fixture() {
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));
    }
    bool noteShown() const { return section.keyframeNote()->isVisible(); }
};

}  // namespace

class tst_RecordingLengthsSection : public QObject {
    Q_OBJECT

private Q_SLOTS:
    // The measure comes from the camera's thread; the note follows it.
    void aChosenCameraWithFarKeyframesGetsTheNote() {
        Fixture f;
        f.defaults.set(SettingsKeys::selectedCameraID, QStringLiteral("rtsp-far"));
        QTest::qWait(50);
        QVERIFY(!f.noteShown());
        const int heightWithout = f.window.sizeHint().height();
        std::thread camera([facts = QPointer(&f.facts)] {
            NetworkCameraFacts::post(facts, QStringLiteral("rtsp-far"), 3.98);
        });
        camera.join();
        QTRY_VERIFY_WITH_TIMEOUT(f.noteShown(), 10000);
        QCOMPARE(f.section.keyframeNote()->text(), fourSeconds);
        QVERIFY(f.window.sizeHint().height() > heightWithout);
    }

    // Keyframes 2 s apart or closer need no note; a camera not chosen
    // neither; the second camera counts too.
    void onlyChosenCamerasOverTwoSeconds() {
        Fixture f;
        f.facts.setKeyframeSpacing("rtsp-two", 2.0);
        f.facts.setKeyframeSpacing("rtsp-six", 6.2);
        f.defaults.set(SettingsKeys::selectedCameraID, QStringLiteral("rtsp-two"));
        QTest::qWait(100);
        QVERIFY(!f.noteShown());
        // A hidden note takes no room: the form is what it always was.
        const int heightWithout = f.window.sizeHint().height();
        f.defaults.set(SettingsKeys::secondCameraID, QStringLiteral("rtsp-six"));
        QTRY_VERIFY_WITH_TIMEOUT(f.noteShown(), 10000);
        QVERIFY(f.section.keyframeNote()->text().contains(QStringLiteral("every 6 s")));
        f.defaults.set(SettingsKeys::secondCameraID, QString());
        QTRY_VERIFY_WITH_TIMEOUT(!f.noteShown(), 10000);
        QCOMPARE(f.window.sizeHint().height(), heightWithout);
        // A camera that moves its keyframes apart later.
        f.facts.setKeyframeSpacing("rtsp-two", 2.4);
        QTRY_VERIFY_WITH_TIMEOUT(f.noteShown(), 10000);
        QVERIFY(f.section.keyframeNote()->text().contains(QStringLiteral("every 3 s")));
    }
};

QTEST_MAIN(tst_RecordingLengthsSection)
#include "tst_RecordingLengthsSection.moc"
