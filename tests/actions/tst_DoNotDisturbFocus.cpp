#include "DoNotDisturbFocus.h"
#include "GnomeDoNotDisturb.h"
#include "ManagerFixture.h"
#include "PlasmaDoNotDisturb.h"
#include "PrivateBus.h"
#include "SettingsKeys.h"
#include "ShortcutActions.h"

#include <QDBusVariant>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace ManagerFixture;

namespace {

const QString notifications = QStringLiteral("org.freedesktop.Notifications");
const QString notificationsPath = QStringLiteral("/org/freedesktop/Notifications");

// The desktop's settings store of the test (each fixture moves
// XDG_CONFIG_HOME; GSettings keeps the folder it first saw).
QString gnomeConfigHome;

// GNOME's switch as the desktop's settings panel turns it: another process
// writing the setting.
bool setGnomeBanners(bool shown) {
    QProcess gsettings;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("GSETTINGS_BACKEND"), QStringLiteral("keyfile"));
    environment.insert(QStringLiteral("XDG_CONFIG_HOME"), gnomeConfigHome);
    gsettings.setProcessEnvironment(environment);
    gsettings.start(QStringLiteral("gsettings"), {"set", "org.gnome.desktop.notifications",
                                                  "show-banners", shown ? "true" : "false"});
    return gsettings.waitForFinished(10000) && gsettings.exitCode() == 0;
}

}  // namespace

// The desktop's Do Not Disturb switch followed as a Focus: GNOME's through a
// settings store of the test's own (the keyfile backend in a temporary
// folder), KDE Plasma's through a notification server on a private bus.
class tst_DoNotDisturbFocus : public QObject {
    Q_OBJECT

private:
    QTemporaryDir config_;
    std::unique_ptr<PrivateBus> bus_;

    QDBusMessage mock(const QString& method, const QVariantList& arguments) {
        return bus_->call(notifications, notificationsPath,
                          QStringLiteral("org.freedesktop.DBus.Mock"), method, arguments);
    }
    void setPlasmaInhibited(bool inhibited) {
        const QDBusMessage reply =
            mock(QStringLiteral("UpdateProperties"),
                 {notifications,
                  QVariant::fromValue(QVariantMap{{QStringLiteral("Inhibited"), inhibited}})});
        QCOMPARE(reply.type(), QDBusMessage::ReplyMessage);
    }

    std::unique_ptr<DoNotDisturbFocus> follow(Fixture& f, ShortcutActions& actions) {
        return std::make_unique<DoNotDisturbFocus>(
            f.defaults, actions, std::make_unique<GnomeDoNotDisturb>(),
            std::make_unique<PlasmaDoNotDisturb>(bus_->connection()));
    }

private Q_SLOTS:
    void initTestCase() {
        // Before anything reads a setting: GSettings picks its store once.
        qputenv("GSETTINGS_BACKEND", "keyfile");
        qputenv("XDG_CONFIG_HOME", config_.path().toLocal8Bit());
        gnomeConfigHome = config_.path();
        QCOMPARE(GnomeDoNotDisturb().isOn(), std::optional(false));
        bus_ = std::make_unique<PrivateBus>();
        QVERIFY(bus_->isRunning());
        QVERIFY(bus_->startTemplate(QStringLiteral("notification_daemon"), notifications));
        QCOMPARE(mock(QStringLiteral("AddProperty"), {notifications, QStringLiteral("Inhibited"),
                                                      QVariant::fromValue(QDBusVariant(false))})
                     .type(),
                 QDBusMessage::ReplyMessage);
    }

    // Both switches off, and this process's settings store has seen it.
    void init() {
        QVERIFY(setGnomeBanners(true));
        setPlasmaInhibited(false);
        const GnomeDoNotDisturb gnome;
        QTRY_COMPARE_WITH_TIMEOUT(gnome.isOn(), std::optional(false), 10000);
    }

    void gnomeSwitchReadsTheDesktopSetting() {
        GnomeDoNotDisturb gnome;
        QCOMPARE(gnome.isOn(), std::optional(false));
        QSignalSpy changed(&gnome, &GnomeDoNotDisturb::changed);
        QVERIFY(setGnomeBanners(false));
        QTRY_VERIFY_WITH_TIMEOUT(!changed.isEmpty(), 10000);
        QCOMPARE(gnome.isOn(), std::optional(true));
    }

    void gnomeDoNotDisturbArmsAsAFocusAndDisarmsWhenItEnds() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.defaults.set(SettingsKeys::armWhileDoNotDisturb, true);
        ShortcutActions actions(*f.manager);
        const auto follower = follow(f, actions);
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
        QVERIFY(setGnomeBanners(false));
        QTRY_COMPARE_WITH_TIMEOUT(f.manager->armedState(), ArmState::arming, 10000);
        QVERIFY(f.manager->armedByFocus());
        QCOMPARE(f.manager->armingCountdown(), 15);
        QVERIFY(setGnomeBanners(true));
        QTRY_COMPARE_WITH_TIMEOUT(f.manager->armedState(), ArmState::unarmed, 10000);
    }

    void doNotDisturbIsIgnoredUntilTheSettingIsOn() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        ShortcutActions actions(*f.manager);
        const auto follower = follow(f, actions);
        QVERIFY(setGnomeBanners(false));
        setPlasmaInhibited(true);
        QTest::qWait(1500);
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
        f.defaults.set(SettingsKeys::armWhileDoNotDisturb, true);
        QTRY_COMPARE_WITH_TIMEOUT(f.manager->armedState(), ArmState::arming, 10000);
        QVERIFY(f.manager->armedByFocus());
    }

    void plasmaInhibitionArmsAsAFocusAndDisarmsWhenItEnds() {
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.defaults.set(SettingsKeys::armWhileDoNotDisturb, true);
        ShortcutActions actions(*f.manager);
        const auto follower = follow(f, actions);
        QTest::qWait(300);  // the server's first answer: not inhibited
        QCOMPARE(f.manager->armedState(), ArmState::unarmed);
        setPlasmaInhibited(true);
        QTRY_COMPARE_WITH_TIMEOUT(f.manager->armedState(), ArmState::arming, 10000);
        QVERIFY(f.manager->armedByFocus());
        setPlasmaInhibited(false);
        QTRY_COMPARE_WITH_TIMEOUT(f.manager->armedState(), ArmState::unarmed, 10000);
    }

    void aPlasmaInhibitionAlreadyOnIsFollowedAtStart() {
        setPlasmaInhibited(true);
        Fixture f;
        f.manager->setCameraAvailable(true);
        f.defaults.set(SettingsKeys::armWhileDoNotDisturb, true);
        ShortcutActions actions(*f.manager);
        const auto follower = follow(f, actions);
        QTRY_COMPARE_WITH_TIMEOUT(f.manager->armedState(), ArmState::arming, 10000);
    }

    void armingByHandIsNeverDisarmedByEitherSwitch() {
        Fixture f;
        f.defaults.set(SettingsKeys::armWhileDoNotDisturb, true);
        f.armNow();
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        ShortcutActions actions(*f.manager);
        const auto follower = follow(f, actions);
        QVERIFY(setGnomeBanners(false));
        QTRY_VERIFY_WITH_TIMEOUT(follower->following(), 10000);
        QVERIFY(!f.manager->armedByFocus());
        QVERIFY(setGnomeBanners(true));
        QTRY_VERIFY_WITH_TIMEOUT(!follower->following(), 10000);
        QCOMPARE(f.manager->armedState(), ArmState::armed);

        setPlasmaInhibited(true);
        QTRY_VERIFY_WITH_TIMEOUT(follower->following(), 10000);
        setPlasmaInhibited(false);
        QTRY_VERIFY_WITH_TIMEOUT(!follower->following(), 10000);
        QCOMPARE(f.manager->armedState(), ArmState::armed);
        QVERIFY(!f.manager->armedByFocus());
    }
};

QTEST_GUILESS_MAIN(tst_DoNotDisturbFocus)
#include "tst_DoNotDisturbFocus.moc"
