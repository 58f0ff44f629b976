#include "MenuBarIcon.h"
#include "MovieProbe.h"
#include "NelvoRun.h"
#include "PrivateBus.h"
#include "StatusItem.h"
#include "TestEnvironment.h"
#include "VirtualDisplay.h"

#include <QDBusArgument>
#include <QDBusVariant>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QImage>
#include <QTest>
#include <memory>

namespace {

const QString watcherService = QStringLiteral("org.kde.StatusNotifierWatcher");
const QString itemInterface = QStringLiteral("org.kde.StatusNotifierItem");
const QString notificationService = QStringLiteral("org.freedesktop.Notifications");
const QString propertiesInterface = QStringLiteral("org.freedesktop.DBus.Properties");

struct Look {
    QString name;
    MenuBarIcon::Appearance appearance;
};

// Every row of the icon's table, as the panel must see it.
QList<Look> looks() {
    return {{QStringLiteral("unarmed"), MenuBarIcon::appearance(ArmState::unarmed, false)},
            {QStringLiteral("arming"), MenuBarIcon::appearance(ArmState::arming, false)},
            {QStringLiteral("armed"), MenuBarIcon::appearance(ArmState::armed, false)},
            {QStringLiteral("recording"), MenuBarIcon::appearance(ArmState::recording, false)},
            {QStringLiteral("failed"), MenuBarIcon::appearance(ArmState::armed, true)}};
}

// The item's pixmaps (ARGB32 in network byte order) as images.
QList<QImage> pixmaps(const QDBusArgument& argument) {
    QList<QImage> images;
    argument.beginArray();
    while (!argument.atEnd()) {
        int width = 0;
        int height = 0;
        QByteArray bytes;
        argument.beginStructure();
        argument >> width >> height >> bytes;
        argument.endStructure();
        QImage image(width, height, QImage::Format_ARGB32);
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const auto* p =
                    reinterpret_cast<const uchar*>(bytes.constData()) + 4 * (y * width + x);
                image.setPixel(x, y, qRgba(p[1], p[2], p[3], p[0]));
            }
        }
        images << image;
    }
    argument.endArray();
    return images;
}

bool near(QRgb a, QRgb b) {
    return std::abs(qRed(a) - qRed(b)) <= 3 && std::abs(qGreen(a) - qGreen(b)) <= 3 &&
           std::abs(qBlue(a) - qBlue(b)) <= 3 && std::abs(qAlpha(a) - qAlpha(b)) <= 3;
}

// Which row of the table the image shows: its ring and its dot have that
// row's colours (compared where the drawn icon is opaque).
QString lookOf(const QImage& image) {
    for (const Look& look : looks()) {
        const QImage expected =
            MenuBarIcon::image(look.appearance, image.width() / qreal(MenuBarIcon::size))
                .convertToFormat(QImage::Format_ARGB32);
        if (expected.size() != image.size()) {
            continue;
        }
        const int middle = image.height() / 2;
        int ring = 0;
        while (ring < middle && qAlpha(expected.pixel(ring, middle)) < 255) {
            ++ring;
        }
        if (near(expected.pixel(ring, middle), image.pixel(ring, middle)) &&
            near(expected.pixel(middle, middle), image.pixel(middle, middle))) {
            return look.name;
        }
    }
    return QStringLiteral("unknown");
}

QString settingsText(bool armedAtLaunch) {
    return QStringLiteral(
               "[General]\nvalidateFirstlaunch=false\nmotionTriggerThreshold=50\n"
               "timeoutValueInSeconds=3\npreRollSeconds=3\narmAtLogin=%1\n")
        .arg(armedAtLaunch ? QStringLiteral("true") : QStringLiteral("false"));
}

}  // namespace

// Nelvo's tray item as a panel sees it: a StatusNotifierWatcher on a private
// session bus, `nelvo --demo` on an X server of the test's own.
class tst_StatusItem : public QObject {
    Q_OBJECT

private:
    std::unique_ptr<TestEnvironment> environment_;
    std::unique_ptr<PrivateBus> bus_;
    VirtualDisplay display_;

    void writeSettings(const QString& text) {
        QDir().mkpath(QFileInfo(environment_->settingsFilePath()).path());
        QFile file(environment_->settingsFilePath());
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(text.toUtf8());
    }

    // The bus name of the registered item, once there is one.
    QString registeredItem(int timeoutMs) {
        QElapsedTimer waited;
        waited.start();
        while (waited.elapsed() < timeoutMs) {
            const QDBusMessage reply =
                bus_->call(watcherService, QStringLiteral("/StatusNotifierWatcher"),
                           propertiesInterface, QStringLiteral("Get"),
                           {watcherService, QStringLiteral("RegisteredStatusNotifierItems")});
            const QStringList items =
                reply.arguments().value(0).value<QDBusVariant>().variant().toStringList();
            if (!items.isEmpty()) {
                return items.last();
            }
            QTest::qWait(50);
        }
        return {};
    }

    QVariant property(const QString& item, const QString& name) {
        const QDBusMessage reply =
            bus_->call(item, QStringLiteral("/StatusNotifierItem"), propertiesInterface,
                       QStringLiteral("Get"), {itemInterface, name});
        return reply.arguments().value(0).value<QDBusVariant>().variant();
    }

    QString look(const QString& item) {
        const QList<QImage> images =
            pixmaps(property(item, QStringLiteral("IconPixmap")).value<QDBusArgument>());
        return images.isEmpty() ? QStringLiteral("none") : lookOf(images.first());
    }

    QString toolTipTitle(const QString& item) {
        const QDBusArgument tip = property(item, QStringLiteral("ToolTip")).value<QDBusArgument>();
        QString iconName;
        QString title;
        tip.beginStructure();
        tip >> iconName;
        tip.beginArray();
        while (!tip.atEnd()) {
            int w = 0;
            int h = 0;
            QByteArray bytes;
            tip.beginStructure();
            tip >> w >> h >> bytes;
            tip.endStructure();
        }
        tip.endArray();
        tip >> title;
        tip.endStructure();
        return title;
    }

    // The looks the item shows, in order, until `last` (or the time is up).
    QStringList looksUntil(const QString& item, const QString& last, int timeoutMs) {
        QStringList seen;
        QElapsedTimer waited;
        waited.start();
        while (waited.elapsed() < timeoutMs) {
            const QString now = look(item);
            if (seen.isEmpty() || seen.last() != now) {
                seen << now;
            }
            if (now == last) {
                break;
            }
            QTest::qWait(100);
        }
        return seen;
    }

    QStringList moviesIn(const QString& folder) {
        QStringList movies;
        QDirIterator it(folder, {QStringLiteral("*.mov")}, QDir::Files,
                        QDirIterator::Subdirectories);
        while (it.hasNext()) {
            movies << it.next();
        }
        return movies;
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(QFile::exists(QStringLiteral(NELVO_EXECUTABLE)));
        QVERIFY2(display_.start(), "Xvfb did not start");
        qputenv("DISPLAY", display_.name().toUtf8());
        qputenv("QT_QPA_PLATFORM", "xcb");
        qunsetenv("WAYLAND_DISPLAY");
    }

    void init() {
        environment_ = std::make_unique<TestEnvironment>();
        bus_ = std::make_unique<PrivateBus>();
        QVERIFY(bus_->isRunning());
        QVERIFY(bus_->startTemplate(
            QStringLiteral(NELVO_SOURCE_DIR) +
                QStringLiteral("/tests/support/dbusmock/status_notifier_watcher.py"),
            watcherService));
        QVERIFY(bus_->startTemplate(QStringLiteral("notification_daemon"), notificationService));
    }

    void cleanup() {
        bus_.reset();
        environment_.reset();
    }

    // Unarmed, the item is the grey ring, says so, and opens the popover
    // when the panel activates it; a second `nelvo` shows the first one's.
    void activatingTheItemShowsThePopoverAndASecondLaunchShowsItToo() {
        writeSettings(settingsText(false));
        NelvoRun nelvo({QStringLiteral("--demo")});
        QVERIFY(nelvo.startedOK());
        const QString item = registeredItem(10000);
        QVERIFY2(!item.isEmpty(), qPrintable(nelvo.log()));
        QVERIFY(!nelvo.waitForLine(QStringLiteral("Devices: "), 15000).isEmpty());

        QCOMPARE(look(item), QStringLiteral("unarmed"));
        QCOMPARE(toolTipTitle(item), QStringLiteral("Nelvo - Unarmed"));
        QCOMPARE(property(item, QStringLiteral("Status")).toString(), QStringLiteral("Active"));
        QVERIFY(!display_.windowShown(QStringLiteral("Nelvo"), 200));

        // A click on the icon, as the panel passes it on.
        bus_->call(item, QStringLiteral("/StatusNotifierItem"), itemInterface,
                   QStringLiteral("Activate"), {100, 10});
        QTRY_VERIFY_WITH_TIMEOUT(display_.windowShown(QStringLiteral("Nelvo"), 200), 5000);
        // A second click closes it again.
        bus_->call(item, QStringLiteral("/StatusNotifierItem"), itemInterface,
                   QStringLiteral("Activate"), {100, 10});
        QTRY_VERIFY_WITH_TIMEOUT(!display_.windowShown(QStringLiteral("Nelvo"), 200), 5000);

        NelvoRun second({QStringLiteral("--demo")});
        QVERIFY(second.waitForExit(15000));
        QCOMPARE(second.process().exitStatus(), QProcess::NormalExit);
        QCOMPARE(second.process().exitCode(), 0);
        QVERIFY2(second.log().contains(QStringLiteral("Nelvo is already running")),
                 qPrintable(second.log()));
        QTRY_VERIFY_WITH_TIMEOUT(display_.windowShown(QStringLiteral("Nelvo"), 200), 5000);
        // Only one item: the second launch never made its own.
        QCOMPARE(registeredItem(100), item);

        // Not recording, quitting asks nothing and is at once.
        bus_->call(QStringLiteral("io.nelvo.Nelvo"), QStringLiteral("/io/nelvo/Nelvo"),
                   QStringLiteral("org.freedesktop.Application"), QStringLiteral("ActivateAction"),
                   {QStringLiteral("quit"), QVariantList(), QVariantMap()});
        QVERIFY(nelvo.waitForExit(10000));
        QVERIFY2(nelvo.process().exitCode() == 0, qPrintable(nelvo.log()));
        QVERIFY(!nelvo.log().contains(QStringLiteral("Quitting after the recording")));
    }

    // Opened at login before the panel's tray host, Nelvo shows its window;
    // when the host starts the icon goes into the tray and the window goes,
    // and when the host leaves the window comes back.
    void theIconMovesIntoATrayThatStartsLaterAndOutWhenItGoes() {
        bus_->stopTemplate(watcherService);
        writeSettings(settingsText(false));
        NelvoRun nelvo({QStringLiteral("--demo")});
        QVERIFY(nelvo.startedOK());
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("Devices: "), 15000).isEmpty(),
                 qPrintable(nelvo.log()));
        QTRY_VERIFY_WITH_TIMEOUT(display_.windowShown(QStringLiteral("Nelvo"), 200), 5000);

        QVERIFY(bus_->startTemplate(
            QStringLiteral(NELVO_SOURCE_DIR) +
                QStringLiteral("/tests/support/dbusmock/status_notifier_watcher.py"),
            watcherService));
        const QString item = registeredItem(15000);
        QVERIFY2(!item.isEmpty(), qPrintable(nelvo.log()));
        QCOMPARE(look(item), QStringLiteral("unarmed"));
        QTRY_VERIFY_WITH_TIMEOUT(!display_.windowShown(QStringLiteral("Nelvo"), 200), 5000);
        // The icon opens and closes the popover as usual.
        for (const bool shown : {true, false}) {
            bus_->call(item, QStringLiteral("/StatusNotifierItem"), itemInterface,
                       QStringLiteral("Activate"), {100, 10});
            QTRY_COMPARE_WITH_TIMEOUT(display_.windowShown(QStringLiteral("Nelvo"), 200), shown,
                                      5000);
        }

        bus_->stopTemplate(watcherService);
        QVERIFY(!nelvo.waitForLine(QStringLiteral("The panel's tray went away"), 15000).isEmpty());
        QTRY_VERIFY_WITH_TIMEOUT(display_.windowShown(QStringLiteral("Nelvo"), 200), 5000);
        nelvo.signal(SIGTERM);
        QVERIFY(nelvo.waitForExit(25000));
        QCOMPARE(nelvo.process().exitCode(), 0);
    }

    // Armed at launch, the icon goes through the table's rows as the demo
    // crossing is recorded; quitting mid-recording waits for the movie.
    void theIconFollowsTheStateAndQuittingMidRecordingKeepsTheMovie() {
        writeSettings(settingsText(false));
        NelvoRun nelvo({QStringLiteral("--demo"), QStringLiteral("--arm")});
        QVERIFY(nelvo.startedOK());
        const QString item = registeredItem(10000);
        QVERIFY2(!item.isEmpty(), qPrintable(nelvo.log()));

        const QStringList seen = looksUntil(item, QStringLiteral("recording"), 60000);
        QVERIFY2(seen.endsWith(QStringLiteral("recording")),
                 qPrintable(seen.join(u',') + u'\n' + nelvo.log()));
        const qsizetype arming = seen.indexOf(QStringLiteral("arming"));
        const qsizetype armed = seen.indexOf(QStringLiteral("armed"));
        QVERIFY2(arming >= 0 && armed > arming, qPrintable(seen.join(u',')));
        QVERIFY(toolTipTitle(item).startsWith(QStringLiteral("Nelvo - ")));

        // Arming itself at launch is told through the desktop's notifications.
        bool notified = false;
        for (const auto& [method, arguments] : bus_->mockCalls(
                 notificationService, QStringLiteral("/org/freedesktop/Notifications"))) {
            notified = notified ||
                       (method == u"Notify" &&
                        arguments.value(3).toString() == QStringLiteral("Nelvo is arming itself"));
        }
        QVERIFY(notified);

        // Quit as the desktop's quit action does, while the movie is written.
        bus_->call(QStringLiteral("io.nelvo.Nelvo"), QStringLiteral("/io/nelvo/Nelvo"),
                   QStringLiteral("org.freedesktop.Application"), QStringLiteral("ActivateAction"),
                   {QStringLiteral("quit"), QVariantList(), QVariantMap()});
        QVERIFY(!nelvo.waitForLine(QStringLiteral("Quitting after the recording"), 5000).isEmpty());
        QTRY_VERIFY_WITH_TIMEOUT(display_.windowShown(QStringLiteral("Nelvo"), 200), 5000);
        QVERIFY(nelvo.waitForExit(30000));
        QVERIFY2(nelvo.process().exitCode() == 0, qPrintable(nelvo.log()));
        QVERIFY2(nelvo.log().contains(QStringLiteral("The recording is written; quitting")),
                 qPrintable(nelvo.log()));
        QVERIFY(nelvo.log().contains(QStringLiteral("Nelvo quit")));

        const QStringList movies = moviesIn(environment_->home());
        QCOMPARE(movies.size(), 1);
        const MovieProbe movie(movies.first());
        QVERIFY2(movie.readable(), qPrintable(movie.errorText()));
        QCOMPARE(movie.codec(QStringLiteral("video")), QStringLiteral("h264"));
        QCOMPARE(movie.codec(QStringLiteral("audio")), QStringLiteral("aac"));
        QVERIFY(movie.firstFrameIsKeyframe());
        QVERIFY(movie.videoSpan() > 2.5);
    }

    // A recording that cannot be written turns the icon yellow.
    void aRecordingFailureTurnsTheIconYellow() {
        writeSettings(settingsText(false));
        // The recordings folder's place is taken by a file.
        QFile blocker(environment_->home() + QStringLiteral("/Videos"));
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        blocker.close();
        NelvoRun nelvo({QStringLiteral("--demo"), QStringLiteral("--arm")});
        QVERIFY(nelvo.startedOK());
        const QString item = registeredItem(10000);
        QVERIFY2(!item.isEmpty(), qPrintable(nelvo.log()));
        const QStringList seen = looksUntil(item, QStringLiteral("failed"), 60000);
        QVERIFY2(seen.endsWith(QStringLiteral("failed")),
                 qPrintable(seen.join(u',') + u'\n' + nelvo.log()));
        QCOMPARE(toolTipTitle(item), QStringLiteral("Nelvo - a recording failed"));
    }

    void withoutATrayTheHintNamesWhatToDo() {
        QVERIFY(StatusItem::missingTrayHint(QStringLiteral("ubuntu:GNOME"))
                    .contains(QStringLiteral("AppIndicator")));
        QVERIFY(!StatusItem::missingTrayHint(QStringLiteral("XFCE"))
                     .contains(QStringLiteral("AppIndicator")));
    }
};

QTEST_MAIN(tst_StatusItem)
#include "tst_StatusItem.moc"
