#include "PrivateBus.h"
#include "TestEnvironment.h"
#include "TrayHost.h"
#include "VirtualDisplay.h"

#include <xcb/xcb.h>
#include <QDBusServiceWatcher>
#include <QGuiApplication>
#include <QSignalSpy>
#include <QTest>
#include <cstdlib>
#include <memory>

namespace {

constexpr int patience = 10000;  // ms

const QString watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");

// An X11 tray of the older kind, as a panel runs it: a window of another
// client owning the selection _NET_SYSTEM_TRAY_S0.
class XEmbedTray {
public:
    explicit XEmbedTray(const QString& display)
        : connection_(xcb_connect(display.toLocal8Bit().constData(), nullptr)) {
        const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(connection_)).data;
        window_ = xcb_generate_id(connection_);
        xcb_create_window(connection_, XCB_COPY_FROM_PARENT, window_, screen->root, 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT, 0, nullptr);
        const char name[] = "_NET_SYSTEM_TRAY_S0";
        xcb_intern_atom_reply_t* atom = xcb_intern_atom_reply(
            connection_, xcb_intern_atom(connection_, 0, sizeof name - 1, name), nullptr);
        xcb_set_selection_owner(connection_, window_, atom->atom, XCB_CURRENT_TIME);
        std::free(atom);
        // A round trip: the server has done what was sent before it.
        std::free(
            xcb_get_input_focus_reply(connection_, xcb_get_input_focus(connection_), nullptr));
    }
    ~XEmbedTray() { xcb_disconnect(connection_); }

private:
    xcb_connection_t* connection_;
    xcb_window_t window_ = 0;
};

}  // namespace

// Whether the desktop has a tray, on an X server and a session bus of the
// test's own: the StatusNotifierWatcher followed as it comes and goes, and
// an X11 tray found when no watcher is there.
class tst_TrayHost : public QObject {
    Q_OBJECT

public:
    tst_TrayHost(PrivateBus& bus, const VirtualDisplay& display) : bus_(bus), display_(display) {}

private:
    PrivateBus& bus_;
    const VirtualDisplay& display_;

    void startWatcher() {
        QVERIFY(bus_.startTemplate(
            qEnvironmentVariable("NELVO_SOURCE_DIR") + QStringLiteral("/tests/support/dbusmock/"
                                                                      "status_notifier_watcher.py"),
            watcherService));
    }

private Q_SLOTS:
    void aWatcherThatStartsLaterIsATrayUntilItGoes() {
        TrayHost host;
        QSignalSpy changed(&host, &TrayHost::availableChanged);
        QVERIFY(!host.known());
        QVERIFY(changed.wait(patience));
        QVERIFY(host.known());
        QCOMPARE(changed.takeFirst().at(0).toBool(), false);

        startWatcher();
        QTRY_COMPARE_WITH_TIMEOUT(changed.size(), 1, patience);
        QCOMPARE(changed.takeFirst().at(0).toBool(), true);
        QVERIFY(host.available());

        bus_.stopTemplate(watcherService);
        QTRY_COMPARE_WITH_TIMEOUT(changed.size(), 1, patience);
        QCOMPARE(changed.takeFirst().at(0).toBool(), false);
        QVERIFY(!host.available());
    }

    void aWatcherThereAtLaunchIsATray() {
        startWatcher();
        TrayHost host;
        QSignalSpy changed(&host, &TrayHost::availableChanged);
        QVERIFY(changed.wait(patience));
        QCOMPARE(changed.takeFirst().at(0).toBool(), true);
        bus_.stopTemplate(watcherService);
    }

    // Without a watcher, an X11 tray is a tray for good.
    void anX11TrayCountsWithoutAWatcher() {
        XEmbedTray tray(display_.name());
        TrayHost host;
        QSignalSpy changed(&host, &TrayHost::availableChanged);
        QVERIFY(changed.wait(patience));
        QCOMPARE(changed.takeFirst().at(0).toBool(), true);

        // A watcher coming and going changes nothing. The test's own watch
        // of the name is told on the same connection after the host's.
        QDBusServiceWatcher watch(watcherService, QDBusConnection::sessionBus(),
                                  QDBusServiceWatcher::WatchForUnregistration);
        QSignalSpy gone(&watch, &QDBusServiceWatcher::serviceUnregistered);
        startWatcher();
        bus_.stopTemplate(watcherService);
        QTRY_COMPARE_WITH_TIMEOUT(gone.size(), 1, patience);
        QVERIFY(host.available());
        QVERIFY(changed.isEmpty());
    }
};

// The bus, the X server and the environment come before the application,
// which connects to both as it starts.
int main(int argc, char** argv) {
    TestEnvironment environment;
    PrivateBus bus;
    VirtualDisplay display;
    if (!display.start()) {
        return 1;
    }
    qputenv("DISPLAY", display.name().toUtf8());
    qputenv("QT_QPA_PLATFORM", "xcb");
    qunsetenv("WAYLAND_DISPLAY");
    QGuiApplication app(argc, argv);
    tst_TrayHost test(bus, display);
    return QTest::qExec(&test, argc, argv);
}

#include "tst_TrayHost.moc"
