#include "AppDelegate.h"
#include "FileOutputManager.h"
#include "GstHandle.h"
#include "MovieProbe.h"
#include "PopoverMenu.h"
#include "PopoverViewController.h"
#include "PopoverWindow.h"
#include "PrivateBus.h"
#include "SettingsViewController.h"
#include "SettingsWindowController.h"
#include "TestEnvironment.h"

#include <QAction>
#include <QApplication>
#include <QCheckBox>
#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTest>
#include <QThread>
#include <QToolButton>
#include <QUrl>
#include <memory>

namespace {

constexpr int patience = 20000;  // ms, the longest a real-time step may take under load

const QString fileManagerService = QStringLiteral("org.freedesktop.FileManager1");
const QString fileManagerPath = QStringLiteral("/org/freedesktop/FileManager1");

QString mock(const QString& name) {
    return qEnvironmentVariable("NELVO_SOURCE_DIR") + QStringLiteral("/tests/support/dbusmock/") +
           name;
}

// The last call of `method` the file manager received, as URIs.
QStringList lastShown(const PrivateBus& bus, const QString& method) {
    QStringList uris;
    for (const auto& [name, arguments] : bus.mockCalls(fileManagerService, fileManagerPath)) {
        if (name == method) {
            uris = arguments.value(0).toStringList();
        }
    }
    return uris;
}

}  // namespace

// Nelvo's windows as the application wires them, run in this process on the
// demo devices, with the desktop's services (the file manager,
// notifications) mocked on a session bus of the test's own and no tray, so
// that the window stands in for the popover.
class tst_AppDelegateWindows : public QObject {
    Q_OBJECT

public:
    tst_AppDelegateWindows(const TestEnvironment& environment, PrivateBus& bus)
        : environment_(environment), bus_(bus) {}

private:
    const TestEnvironment& environment_;
    PrivateBus& bus_;
    std::unique_ptr<AppDelegate> delegate_;

    // Launches Nelvo and waits until capture has reported its devices.
    void launch() {
        AppDelegate::Options options;
        options.demo = true;
        options.demoSize = QSize(320, 180);
        options.withWindows = true;
        delegate_ = std::make_unique<AppDelegate>(options);
        delegate_->launch();
        QTRY_VERIFY_WITH_TIMEOUT(
            delegate_->captureManager()->camera(0) && delegate_->captureManager()->microphone(),
            patience);
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(bus_.isRunning());
        QVERIFY(bus_.startTemplate(QStringLiteral("notification_daemon"),
                                   QStringLiteral("org.freedesktop.Notifications")));
        QVERIFY(bus_.startTemplate(mock(QStringLiteral("file_manager.py")), fileManagerService));
    }

    void cleanup() {
        if (delegate_) {
            QSignalSpy finished(delegate_.get(), &AppDelegate::finished);
            delegate_->terminate();
            QVERIFY(finished.count() == 1 || finished.wait(patience));
            delegate_.reset();
        }
        bus_.call(fileManagerService, fileManagerPath, QStringLiteral("org.freedesktop.DBus.Mock"),
                  QStringLiteral("ClearCalls"));
        for (const char* folder : {"/.config/Nelvo", "/.config/autostart", "/Videos"}) {
            QDir(environment_.home() + QLatin1String(folder)).removeRecursively();
        }
    }

    // Without a tray the window stands in for the popover: the camera runs
    // while the window can be seen, not while it is minimised or closed.
    void withoutATrayCaptureFollowsTheWindowBeingSeen() {
        launch();
        AppDelegate& nelvo = *delegate_;
        PopoverWindow* window = nelvo.popoverWindow();
        CaptureManager* capture = nelvo.captureManager();
        QVERIFY(window->isVisible());
        QVERIFY(capture->popoverOpen());
        QTRY_VERIFY_WITH_TIMEOUT(capture->capturing(), patience);

        window->showMinimized();
        QTRY_VERIFY_WITH_TIMEOUT(!capture->popoverOpen(), patience);
        QTRY_VERIFY_WITH_TIMEOUT(!capture->capturing(), patience);

        window->showNormal();
        QTRY_VERIFY_WITH_TIMEOUT(capture->popoverOpen(), patience);
        QTRY_VERIFY_WITH_TIMEOUT(capture->capturing(), patience);

        window->close();
        QTRY_VERIFY_WITH_TIMEOUT(!capture->popoverOpen(), patience);
        QTRY_VERIFY_WITH_TIMEOUT(!capture->capturing(), patience);
    }

    // Open at Login turned on in Settings reaches the popover pinned open
    // beside it.
    void openAtLoginTurnedOnInSettingsReachesAPinnedPopover() {
        launch();
        AppDelegate& nelvo = *delegate_;
        PopoverViewController* popover = nelvo.popoverController();
        nelvo.popoverWindow()->showPopover();
        popover->pinButton()->click();
        QVERIFY(nelvo.popoverWindow()->isPinned());
        QTRY_COMPARE_WITH_TIMEOUT(popover->loginState(), LoginItem::State::off, patience);

        popover->popoverMenu()->showPrefsMenuItem()->trigger();
        QVERIFY(nelvo.settingsWindow());
        QCheckBox* openAtLogin = nelvo.settingsWindow()->viewController().openAtLoginCheckbox();
        QTRY_VERIFY_WITH_TIMEOUT(openAtLogin->isEnabled() && !openAtLogin->isChecked(), patience);
        openAtLogin->click();
        QTRY_VERIFY_WITH_TIMEOUT(openAtLogin->isChecked(), patience);
        QTRY_COMPARE_WITH_TIMEOUT(popover->loginState(), LoginItem::State::on, patience);
        QVERIFY(nelvo.popoverWindow()->isVisible());
    }

    // "Show Recordings" shows the newest movie selected, and the folder
    // itself only when it holds none.
    void showRecordingsSelectsTheNewestMovie() {
        launch();
        AppDelegate& nelvo = *delegate_;
        const QString folder = nelvo.recordingManager().fileOutputManager().nelvoPath();
        QAction* item = nelvo.popoverController()->popoverMenu()->showRecordingsMenuItem();

        item->trigger();
        QTRY_COMPARE_WITH_TIMEOUT(lastShown(bus_, QStringLiteral("ShowFolders")),
                                  QStringList{QUrl::fromLocalFile(folder).toString()}, patience);
        QVERIFY(lastShown(bus_, QStringLiteral("ShowItems")).isEmpty());

        const QString older = folder + QStringLiteral("/2026-11-20 10.00.00 - Cam.mov");
        const QString newer = folder + QStringLiteral("/2026-11-19 10.00.00 - Cam.mov");
        for (const QString& path : {older, newer}) {
            QFile file(path);
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.close();
            QThread::msleep(20);  // creation times a clear step apart
        }
        QFile still(folder + QStringLiteral("/2026-11-21 10.00.00 - Cam.jpg"));
        QVERIFY(still.open(QIODevice::WriteOnly));
        still.close();
        item->trigger();
        QTRY_COMPARE_WITH_TIMEOUT(lastShown(bus_, QStringLiteral("ShowItems")),
                                  QStringList{QUrl::fromLocalFile(newer).toString()}, patience);
    }

    // "Record a Test" arms, records, disarms, and shows the movie it made.
    void aTestRecordingShowsItsMovie() {
        launch();
        AppDelegate& nelvo = *delegate_;
        const QString folder = nelvo.recordingManager().fileOutputManager().nelvoPath();
        QAction* item = nelvo.popoverController()->popoverMenu()->recordTestMenuItem();
        nelvo.popoverController()->popoverMenu()->validate();
        QVERIFY(item->isEnabled());
        item->trigger();
        QVERIFY(nelvo.recordingManager().isRecordingTest());
        QTRY_VERIFY_WITH_TIMEOUT(!lastShown(bus_, QStringLiteral("ShowItems")).isEmpty(),
                                 2 * patience);
        const QStringList shown = lastShown(bus_, QStringLiteral("ShowItems"));
        QCOMPARE(shown.size(), 1);
        const QString movie = QUrl(shown.first()).toLocalFile();
        QCOMPARE(QFileInfo(movie).absolutePath(), QFileInfo(folder).absoluteFilePath());
        QVERIFY(movie.endsWith(QStringLiteral(".mov")));
        QTRY_VERIFY_WITH_TIMEOUT(!nelvo.recordingManager().isRecordingTest(), patience);
        const MovieProbe probe(movie);
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec(QStringLiteral("video")), QStringLiteral("h264"));
    }
};

// The environment and the bus come before the application, so that every
// D-Bus client in this process, Qt's own tray included, reaches the mocks.
int main(int argc, char** argv) {
    TestEnvironment environment;
    PrivateBus bus;
    QApplication app(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    Gst::ensureInitialised();
    tst_AppDelegateWindows test(environment, bus);
    return QTest::qExec(&test, argc, argv);
}

#include "tst_AppDelegateWindows.moc"
