#include "CaptureManagerHarness.h"
#include "DocsImages.h"
#include "FileOutputManager.h"
#include "LaunchDefaults.h"
#include "NetworkCameraFacts.h"
#include "RecordingManager.h"
#include "RecordingsFolder.h"
#include "ScheduleRowView.h"
#include "SettingsViewController.h"
#include "SettingsWindowController.h"
#include "XdgAutostartLoginItemService.h"

#include <unistd.h>
#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTimeEdit>
#include <QToolButton>

using namespace CaptureManagerHarness;

namespace {

const QString keepAwakeNote = QStringLiteral(
    "While the schedule is on, Nelvo keeps the computer awake the whole time, including days "
    "without a window.");
const QString turnOnLoginNote = QStringLiteral(
    "The schedule only runs while Nelvo is open, so turn on Open Nelvo at Login. While the "
    "schedule is on, Nelvo keeps the computer awake the whole time, on days without a window "
    "too.");
const QString lostOnRestartNote = QStringLiteral(
    "The schedule only arms Nelvo while it's open, and with Open Nelvo at Login off nothing "
    "opens it after a restart. Turn it on above, or open Nelvo yourself after each restart.");

// A login-item service standing in for a desktop that asks the user first,
// or one whose registration fails.
class AskingService : public LoginItemService {
public:
    Status status() const override { return status_; }
    std::optional<Error> registerItem() override {
        if (failure) {
            return failure;
        }
        status_ = Status::requiresApproval;
        return std::nullopt;
    }
    std::optional<Error> unregisterItem() override {
        status_ = Status::notRegistered;
        return std::nullopt;
    }
    std::optional<Error> failure;

private:
    Status status_ = Status::notRegistered;
};

// The settings window over a real recording manager, a real capture
// manager on test devices and the autostart service, all on a settings file
// and XDG folders of their own.
struct Fixture {
    Harness harness;
    std::unique_ptr<RecordingManager> recordingManager;
    XdgAutostartLoginItemService autostart{QStringLiteral("/usr/bin/nelvo"), {}};
    NetworkCameraFacts cameraFacts;
    std::unique_ptr<SettingsWindowController> window;

    Fixture(std::vector<std::shared_ptr<CaptureSource>> cameras,
            std::vector<std::shared_ptr<CaptureSource>> microphones,
            LoginItemService* login = nullptr)
        : harness(std::move(cameras), std::move(microphones)) {
        LaunchDefaults::registerDefaults(harness.defaults);
        LaunchDefaults::writeFirstLaunchValues(harness.defaults);
        recordingManager = std::make_unique<RecordingManager>(harness.defaults, harness.clock);
        window = std::make_unique<SettingsWindowController>(
            *recordingManager, *harness.manager, login ? *login : autostart, cameraFacts);
    }

    SettingsViewController& view() { return window->viewController(); }
    Defaults& defaults() { return harness.defaults; }

    bool setUpAndShow() {
        if (!harness.setUp()) {
            return false;
        }
        window->showWindow();
        return QTest::qWaitForWindowExposed(window.get());
    }
    // Lets the capture side and the settings store deliver what is pending.
    void settle() {
        harness.settle();
        defaults().flush();
        QCoreApplication::processEvents();
    }
};

QStringList itemsOf(const QComboBox* menu) {
    QStringList items;
    for (int i = 0; i < menu->count(); ++i) {
        items << menu->itemText(i);
    }
    return items;
}

void choose(QComboBox* menu, const QVariant& data) {
    const int index = menu->findData(data);
    QVERIFY2(index >= 0, qPrintable(data.toString()));
    menu->setCurrentIndex(index);
}

// Types into a number field and ends the editing as the user does.
void typeInto(QLineEdit* field, const QString& text) {
    field->setFocus();
    field->selectAll();
    QTest::keyClick(field, Qt::Key_Backspace);
    if (!text.isEmpty()) {
        QTest::keyClicks(field, text);
    }
    QTest::keyClick(field, Qt::Key_Return);
}

// `count` recordings of `bytes` each (sparse), one an hour before `now`, in
// the default folder.
void writeRecordings(const QDateTime& now, int count, qint64 bytes) {
    const QString folder = RecordingsFolder::defaultFolder();
    QVERIFY(QDir().mkpath(folder));
    for (int hour = 1; hour <= count; ++hour) {
        QFile file(folder + u'/' +
                   FileOutputManager::recordingName(now.addSecs(-hour * 3600), "Desk", "Mic") +
                   ".mov");
        QVERIFY(file.open(QIODevice::WriteOnly));
        QVERIFY(file.resize(bytes));
    }
}

// Clicks a checkbox on its box, where a click always lands, however wide
// the layout made the widget.
void clickBox(QCheckBox* box) {
    QTest::mouseClick(box, Qt::LeftButton, {}, QPoint(box->height() / 2, box->height() / 2));
}

// The alert open on the settings window now, if any.
QMessageBox* openAlert(QWidget* window) {
    for (QMessageBox* box : window->findChildren<QMessageBox*>(QStringLiteral("settingsAlert"))) {
        if (box->isVisible()) {
            return box;
        }
    }
    return nullptr;
}

QStringList buttonsOf(const QMessageBox* box) {
    QStringList titles;
    for (QAbstractButton* button : box->buttons()) {
        titles << button->text();
    }
    titles.sort();
    return titles;
}

void closeAlert(QMessageBox* box) {
    box->buttons().constFirst()->click();
    QTRY_VERIFY(!box->isVisible());
}

}  // namespace

class tst_SettingsViewController : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { QLocale::setDefault(QLocale(QLocale::English, QLocale::UnitedStates)); }

    // ---- Devices ------------------------------------------------------------

    void theMenusListTheDevicesWithTheCurrentChoiceSelected() {
        Fixture f({camera("A"), camera("B")}, {microphone("A"), microphone("B")});
        QVERIFY(f.setUpAndShow());
        SettingsViewController& view = f.view();
        QTRY_COMPARE(itemsOf(view.cameraSelectPopup()),
                     QStringList({"No camera", "Camera A", "Camera B"}));
        QCOMPARE(view.cameraSelectPopup()->itemData(1), QVariant("cam-a"));
        QCOMPARE(view.cameraSelectPopup()->currentData(), QVariant("cam-a"));
        QCOMPARE(itemsOf(view.secondCameraSelectPopup()),
                 QStringList({"No second camera", "Camera B"}));
        QCOMPARE(view.secondCameraSelectPopup()->itemData(0), QVariant("no-second-camera"));
        QCOMPARE(view.secondCameraSelectPopup()->currentIndex(), 0);
        QCOMPARE(itemsOf(view.microphoneSelectPopup()),
                 QStringList({"System default", "No microphone", "Microphone A", "Microphone B"}));
        QCOMPARE(view.microphoneSelectPopup()->itemData(0), QVariant("system-default"));
        QCOMPARE(view.microphoneSelectPopup()->currentData(), QVariant("system-default"));
    }

    void choosingDevicesStoresThemAndCaptureFollows() {
        Fixture f({camera("A"), camera("B")}, {microphone("A"), microphone("B")});
        QVERIFY(f.setUpAndShow());
        SettingsViewController& view = f.view();
        QTRY_COMPARE(view.cameraSelectPopup()->count(), 3);

        choose(view.cameraSelectPopup(), "cam-b");
        f.settle();
        QCOMPARE(f.defaults().string(SettingsKeys::selectedCameraID), QString("cam-b"));
        QCOMPARE(idOf(f.harness.manager->camera(0)), QString("cam-b"));
        QTRY_COMPARE(itemsOf(view.secondCameraSelectPopup()),
                     QStringList({"No second camera", "Camera A"}));

        choose(view.secondCameraSelectPopup(), "cam-a");
        f.settle();
        QCOMPARE(f.defaults().string(SettingsKeys::secondCameraID), QString("cam-a"));
        QCOMPARE(idOf(f.harness.manager->camera(1)), QString("cam-a"));
        QCOMPARE(view.secondCameraSelectPopup()->currentData(), QVariant("cam-a"));

        choose(view.secondCameraSelectPopup(), "no-second-camera");
        f.settle();
        QVERIFY(!f.defaults().hasStoredValue(SettingsKeys::secondCameraID));
        QCOMPARE(idOf(f.harness.manager->camera(1)), QString("none"));

        choose(view.microphoneSelectPopup(), "mic-b");
        f.settle();
        QCOMPARE(f.defaults().string(SettingsKeys::selectedMicrophoneID), QString("mic-b"));
        QCOMPARE(idOf(f.harness.manager->microphone()), QString("mic-b"));

        f.defaults().set(SettingsKeys::audioTriggerEnabled, true);
        view.microphoneSelectPopup()->setCurrentIndex(1);  // "No microphone"
        f.settle();
        QCOMPARE(f.defaults().string(SettingsKeys::selectedMicrophoneID), QString(""));
        QVERIFY(!f.defaults().boolValue(SettingsKeys::audioTriggerEnabled));
        QCOMPARE(idOf(f.harness.manager->microphone()), QString("none"));

        choose(view.microphoneSelectPopup(), "system-default");
        f.settle();
        QVERIFY(!f.defaults().hasStoredValue(SettingsKeys::selectedMicrophoneID));
        QCOMPARE(idOf(f.harness.manager->microphone()), QString("mic-a"));

        view.cameraSelectPopup()->setCurrentIndex(0);  // "No camera"
        f.settle();
        QCOMPARE(f.defaults().string(SettingsKeys::selectedCameraID), QString(""));
        QVERIFY(!f.defaults().boolValue(SettingsKeys::motionTriggerEnabled));
        QCOMPARE(idOf(f.harness.manager->camera(0)), QString("none"));
        QTRY_COMPARE(view.cameraSelectPopup()->currentIndex(), 0);
    }

    void aCameraPluggedInWhileTheWindowIsOpenAppearsInTheMenus() {
        Fixture f({camera("A")}, {microphone("A")});
        QVERIFY(f.setUpAndShow());
        SettingsViewController& view = f.view();
        QTRY_COMPARE(itemsOf(view.cameraSelectPopup()), QStringList({"No camera", "Camera A"}));
        f.harness.devices->plug(camera("C"), DeviceKind::video);
        QTRY_COMPARE(itemsOf(view.cameraSelectPopup()),
                     QStringList({"No camera", "Camera A", "Camera C"}));
        QCOMPARE(itemsOf(view.secondCameraSelectPopup()),
                 QStringList({"No second camera", "Camera C"}));
        // Camera A stays in use and chosen.
        QCOMPARE(view.cameraSelectPopup()->currentData(), QVariant("cam-a"));
        f.harness.devices->plug(microphone("B"), DeviceKind::audio);
        QTRY_COMPARE(view.microphoneSelectPopup()->count(), 4);
        f.harness.devices->unplug(f.harness.manager->camera(0), DeviceKind::video);
        QTRY_COMPARE(itemsOf(view.cameraSelectPopup()), QStringList({"No camera", "Camera C"}));
    }

    // ---- Number fields ------------------------------------------------------------

    void clearingAFieldStoresItsFallback() {
        Fixture f({camera("A")}, {});
        f.defaults().set(SettingsKeys::timeoutValueInSeconds, 40);
        f.defaults().set(SettingsKeys::preRollSeconds, 12);
        f.defaults().set(SettingsKeys::recordingsLimitGB, 9);
        QVERIFY(f.setUpAndShow());
        SettingsViewController& view = f.view();
        QCOMPARE(view.timeoutField()->text(), QString("40"));
        QCOMPARE(view.recordingsLimitField()->text(), QString("9"));

        typeInto(view.timeoutField(), QString());
        QCOMPARE(view.timeoutField()->text(), QString("5"));
        QCOMPARE(f.defaults().integer(SettingsKeys::timeoutValueInSeconds), 5);

        typeInto(view.recordingsLimitField(), QStringLiteral("   "));
        QCOMPARE(view.recordingsLimitField()->text(), QString("0"));
        QCOMPARE(f.defaults().integer(SettingsKeys::recordingsLimitGB), 0);
        QVERIFY(f.defaults().hasStoredValue(SettingsKeys::recordingsLimitGB));

        typeInto(view.preRollField(), QString());
        QCOMPARE(f.defaults().integer(SettingsKeys::preRollSeconds), 5);
        QVERIFY(!openAlert(f.window.get()));

        typeInto(view.timeoutField(), QStringLiteral("120"));
        QCOMPARE(f.defaults().integer(SettingsKeys::timeoutValueInSeconds), 120);
    }

    void aStoredPreRollOf45ShowsAs30() {
        Fixture f({camera("A")}, {});
        f.defaults().set(SettingsKeys::preRollSeconds, 45);
        QVERIFY(f.setUpAndShow());
        QCOMPARE(f.view().preRollField()->text(), QString("30"));
        f.defaults().set(SettingsKeys::preRollSeconds, 2.6);
        f.window->showWindow();
        QCOMPARE(f.view().preRollField()->text(), QString("3"));
    }

    void rejectedInputShowsTheRangeAndKeepsTheSetting_data() {
        QTest::addColumn<QString>("field");
        QTest::addColumn<QString>("typed");
        QTest::addColumn<QString>("title");
        QTest::newRow("timeout too long") << "timeout"
                                          << "601"
                                          << "Enter a number from 0 to 600";
        QTest::newRow("timeout not a number") << "timeout"
                                              << "ten"
                                              << "Enter a number from 0 to 600";
        QTest::newRow("pre-roll too long") << "preRoll"
                                           << "31"
                                           << "Enter a number from 0 to 30";
        QTest::newRow("negative pre-roll") << "preRoll"
                                           << "-1"
                                           << "Enter a number from 0 to 30";
        QTest::newRow("limit too large") << "limit"
                                         << "10001"
                                         << "Enter a number from 0 to 10,000";
        QTest::newRow("limit a fraction") << "limit"
                                          << "2.5"
                                          << "Enter a number from 0 to 10,000";
    }
    void rejectedInputShowsTheRangeAndKeepsTheSetting() {
        QFETCH(QString, field);
        QFETCH(QString, typed);
        QFETCH(QString, title);
        Fixture f({camera("A")}, {});
        f.defaults().set(SettingsKeys::timeoutValueInSeconds, 40);
        f.defaults().set(SettingsKeys::preRollSeconds, 12);
        f.defaults().set(SettingsKeys::recordingsLimitGB, 9);
        QVERIFY(f.setUpAndShow());
        SettingsViewController& view = f.view();
        QLineEdit* edit = field == "timeout"   ? view.timeoutField()
                          : field == "preRoll" ? view.preRollField()
                                               : view.recordingsLimitField();
        const QString key = field == "timeout"   ? SettingsKeys::timeoutValueInSeconds
                            : field == "preRoll" ? SettingsKeys::preRollSeconds
                                                 : SettingsKeys::recordingsLimitGB;
        const qint64 before = f.defaults().integer(key);
        const QString shown = edit->text();
        typeInto(edit, typed);
        QMessageBox* box = nullptr;
        QTRY_VERIFY((box = openAlert(f.window.get())));
        QCOMPARE(box->text(), title);
        QCOMPARE(box->windowModality(), Qt::WindowModal);
        QCOMPARE(box->parentWidget(), f.window.get());
        QCOMPARE(QApplication::activeModalWidget(), box);
        QCOMPARE(buttonsOf(box), QStringList({"OK"}));
        QCOMPARE(f.defaults().integer(key), before);
        QCOMPARE(edit->text(), shown);
        closeAlert(box);
    }

    // ---- Recordings folder -----------------------------------------------------------

    void theFolderLineShowsTheFolderAndItsState() {
        Fixture f({camera("A")}, {});
        QVERIFY(f.setUpAndShow());
        SettingsViewController& view = f.view();
        QCOMPARE(view.recordingsFolderField()->text(), QString("~/Videos/Nelvo"));
        QCOMPARE(view.recordingsFolderNote()->text(), QString("Recordings are saved here."));

        // A chosen folder that went away: the default folder stands in.
        const QString away = f.harness.environment.home() + "/Away";
        QVERIFY(QDir().mkpath(away));
        QVERIFY(!RecordingsFolder::choose(away, f.defaults()));
        QVERIFY(QDir(away).removeRecursively());
        f.window->showWindow();
        QCOMPARE(view.recordingsFolderField()->text(), QString("~/Videos/Nelvo"));
        QCOMPARE(view.recordingsFolderNote()->text(),
                 QString("~/Away isn't available, so recordings are going here for now."));
    }

    void aWritableFolderIsStoredAndTakenUp() {
        Fixture f({camera("A")}, {});
        QVERIFY(f.setUpAndShow());
        SettingsViewController& view = f.view();
        const QString picked = f.harness.environment.home() + "/Films";
        QVERIFY(QDir().mkpath(picked));
        QString offeredStart;
        QWidget* offeredParent = nullptr;
        view.pickFolder = [&](QWidget* parent, const QString& start) {
            offeredParent = parent;
            offeredStart = start;
            return picked;
        };
        QTest::mouseClick(view.findChild<QPushButton*>("chooseFolderButton"), Qt::LeftButton);
        QCOMPARE(offeredParent, f.window.get());
        QCOMPARE(offeredStart, RecordingsFolder::defaultFolder());
        QVERIFY(!openAlert(f.window.get()));
        QCOMPARE(view.recordingsFolderField()->text(), QString("~/Films"));
        QCOMPARE(view.recordingsFolderNote()->text(), QString("Recordings are saved here."));
        QCOMPARE(RecordingsFolder::chosenFolder(f.defaults()), picked);
        f.settle();
        QCOMPARE(QDir(f.recordingManager->fileOutputManager().nelvoPath()).canonicalPath(),
                 QDir(picked).canonicalPath());
        QVERIFY(QDir(picked)
                    .entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot)
                    .isEmpty());

        // Back to the default folder.
        QTest::mouseClick(view.findChild<QPushButton*>("resetFolderButton"), Qt::LeftButton);
        QVERIFY(!f.defaults().hasStoredValue(SettingsKeys::recordingsFolderBookmark));
        QCOMPARE(view.recordingsFolderField()->text(), QString("~/Videos/Nelvo"));
        f.settle();
        QCOMPARE(f.recordingManager->fileOutputManager().nelvoPath(),
                 RecordingsFolder::defaultFolder());
    }

    // Run again as a plain user: root writes everywhere.
    void anUnwritableFolderShowsTheAlertAndKeepsTheFolderInUse() {
        if (geteuid() == 0) {
            QSKIP("root writes into every folder; the unprivileged run covers this");
        }
        Fixture f({camera("A")}, {});
        QVERIFY(f.setUpAndShow());
        SettingsViewController& view = f.view();
        const QString earlier = f.harness.environment.home() + "/Earlier";
        QVERIFY(QDir().mkpath(earlier));
        view.pickFolder = [&](QWidget*, const QString&) { return earlier; };
        view.handleChooseFolder();
        const QByteArray stored = *f.defaults().data(SettingsKeys::recordingsFolderBookmark);

        const QString locked = f.harness.environment.home() + "/Locked";
        QVERIFY(QDir().mkpath(locked));
        QVERIFY(QFile::setPermissions(locked, QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        view.pickFolder = [&](QWidget*, const QString&) { return locked; };
        QTest::mouseClick(view.findChild<QPushButton*>("chooseFolderButton"), Qt::LeftButton);
        QMessageBox* box = nullptr;
        QTRY_VERIFY((box = openAlert(f.window.get())));
        QCOMPARE(box->text(), QString("Nelvo can't write to ~/Locked"));
        QCOMPARE(box->informativeText(),
                 QString("Recordings are still going where they were. Some folders don't allow "
                         "it, including backup disks and anything read-only."));
        QCOMPARE(box->windowModality(), Qt::WindowModal);
        QCOMPARE(box->buttons().size(), 1);
        QCOMPARE(*f.defaults().data(SettingsKeys::recordingsFolderBookmark), stored);
        QCOMPARE(view.recordingsFolderField()->text(), QString("~/Earlier"));
        f.settle();
        QCOMPARE(f.recordingManager->fileOutputManager().nelvoPath(), earlier);
        closeAlert(box);
        QFile::setPermissions(
            locked, QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    }

    // ---- Login -----------------------------------------------------------------------

    void openAtLoginWritesAndRemovesTheAutostartEntry() {
        Fixture f({camera("A")}, {});
        f.defaults().set(SettingsKeys::scheduledArmingEnabled, true);
        Schedule{{SettingsViewController::defaultScheduleWindow()}}.save(f.defaults());
        QVERIFY(f.setUpAndShow());
        SettingsViewController& view = f.view();
        const QString entry =
            qEnvironmentVariable("XDG_CONFIG_HOME") + "/autostart/io.nelvo.Nelvo.desktop";
        QVERIFY(entry.startsWith(f.harness.environment.home()));
        QVERIFY(!QFile::exists(entry));
        QVERIFY(!view.openAtLoginCheckbox()->isChecked());
        QCOMPARE(view.scheduleNote()->text(), lostOnRestartNote);
        QSignalSpy posted(&view.loginItemNotifier(), &LoginItemNotifier::loginItemStateChanged);

        clickBox(view.openAtLoginCheckbox());
        QVERIFY(QFile::exists(entry));
        QVERIFY(view.openAtLoginCheckbox()->isChecked());
        QCOMPARE(view.loginState(), LoginItem::State::on);
        QCOMPARE(view.scheduleNote()->text(), keepAwakeNote);
        QCOMPARE(posted.size(), 1);
        QCOMPARE(posted.at(0).at(0).value<LoginItem::State>(), LoginItem::State::on);
        QVERIFY(!openAlert(f.window.get()));

        // Read afresh the next time the window opens.
        f.window->hide();
        f.window->showWindow();
        QVERIFY(view.openAtLoginCheckbox()->isChecked());
        QCOMPARE(view.scheduleNote()->text(), keepAwakeNote);

        clickBox(view.openAtLoginCheckbox());
        QVERIFY(!QFile::exists(entry));
        QVERIFY(!view.openAtLoginCheckbox()->isChecked());
        QCOMPARE(view.scheduleNote()->text(), lostOnRestartNote);
        QCOMPARE(posted.size(), 2);
        QCOMPARE(posted.at(1).at(0).value<LoginItem::State>(), LoginItem::State::off);
    }

    void turningOnWhenTheDesktopWantsApprovalLeavesTheCheckboxOff() {
        AskingService asking;
        Fixture f({camera("A")}, {}, &asking);
        QVERIFY(f.setUpAndShow());
        SettingsViewController& view = f.view();
        int opened = 0;
        view.openLoginItemsSettings = [&] { ++opened; };
        // The application's notifier, which the popover listens to.
        LoginItemNotifier application;
        view.setLoginItemNotifier(application);
        QSignalSpy posted(&application, &LoginItemNotifier::loginItemStateChanged);
        clickBox(view.openAtLoginCheckbox());
        QVERIFY(!view.openAtLoginCheckbox()->isChecked());
        QCOMPARE(view.loginState(), LoginItem::State::needsApproval);
        QCOMPARE(posted.size(), 1);
        QCOMPARE(posted.at(0).at(0).value<LoginItem::State>(), LoginItem::State::needsApproval);
        QCOMPARE(view.scheduleNote()->text(), turnOnLoginNote);
        QMessageBox* box = nullptr;
        QTRY_VERIFY((box = openAlert(f.window.get())));
        QCOMPARE(box->text(),
                 QString("Your desktop needs your approval before Nelvo can open at login."));
        QCOMPARE(box->informativeText(),
                 QString("Allow Nelvo to run in the background in your desktop's settings."));
        QCOMPARE(box->windowModality(), Qt::WindowModal);
        QCOMPARE(buttonsOf(box), QStringList({"Not Now", "Open Settings"}));
        for (QAbstractButton* button : box->buttons()) {
            if (button->text() == "Open Settings") {
                button->click();
            }
        }
        QTRY_VERIFY(!box->isVisible());
        QCOMPARE(opened, 1);
    }

    void aFailedRegistrationShowsItsError() {
        AskingService asking;
        asking.failure = Error::posix(EACCES, QStringLiteral("The autostart folder is read-only"));
        Fixture f({camera("A")}, {}, &asking);
        QVERIFY(f.setUpAndShow());
        SettingsViewController& view = f.view();
        clickBox(view.openAtLoginCheckbox());
        QVERIFY(!view.openAtLoginCheckbox()->isChecked());
        QCOMPARE(view.loginState(), LoginItem::State::off);
        QMessageBox* box = nullptr;
        QTRY_VERIFY((box = openAlert(f.window.get())));
        QCOMPARE(box->text(), QString("Nelvo couldn't change whether it opens at login."));
        QCOMPARE(box->informativeText(), QString("The autostart folder is read-only"));
        QCOMPARE(buttonsOf(box), QStringList({"OK"}));
        closeAlert(box);
    }

    void armAtLoginIsStored() {
        Fixture f({camera("A")}, {});
        QVERIFY(f.setUpAndShow());
        SettingsViewController& view = f.view();
        QVERIFY(!view.armAtLoginCheckbox()->isChecked());
        clickBox(view.armAtLoginCheckbox());
        QVERIFY(f.defaults().boolValue(SettingsKeys::armAtLogin));
        clickBox(view.armAtLoginCheckbox());
        QVERIFY(!f.defaults().boolValue(SettingsKeys::armAtLogin));
        f.defaults().set(SettingsKeys::armAtLogin, true);
        f.window->showWindow();
        QVERIFY(view.armAtLoginCheckbox()->isChecked());
    }

    void armingWhileDoNotDisturbIsStored() {
        Fixture f({camera("A")}, {});
        QVERIFY(f.setUpAndShow());
        SettingsViewController& view = f.view();
        QCOMPARE(view.doNotDisturbCheckbox()->text(),
                 QStringLiteral("Arm while Do Not Disturb is on"));
        QVERIFY(!view.doNotDisturbCheckbox()->isChecked());
        clickBox(view.doNotDisturbCheckbox());
        QVERIFY(f.defaults().boolValue(SettingsKeys::armWhileDoNotDisturb));
        clickBox(view.doNotDisturbCheckbox());
        QVERIFY(!f.defaults().boolValue(SettingsKeys::armWhileDoNotDisturb));
        f.defaults().set(SettingsKeys::armWhileDoNotDisturb, true);
        f.window->showWindow();
        QVERIFY(view.doNotDisturbCheckbox()->isChecked());
    }

    // ---- Schedule ------------------------------------------------------------------------

    void withOpenAtLoginOnTheNoteIsTheKeepAwakeSentenceAlone() {
        Fixture f({camera("A")}, {});
        QVERIFY(!f.autostart.registerItem());
        f.defaults().set(SettingsKeys::scheduledArmingEnabled, true);
        Schedule{{SettingsViewController::defaultScheduleWindow()}}.save(f.defaults());
        QVERIFY(f.setUpAndShow());
        QCOMPARE(f.view().scheduleNote()->text(), keepAwakeNote);
        QVERIFY(f.view().scheduleNote()->isVisible());
    }

    void theNoteWithOpenAtLoginOff() {
        Fixture f({camera("A")}, {});
        QVERIFY(f.setUpAndShow());
        SettingsViewController& view = f.view();
        // Schedule off: nothing is lost on a restart.
        QCOMPARE(view.scheduleNote()->text(), turnOnLoginNote);
        const QColor calm = view.scheduleNote()->palette().color(QPalette::WindowText);
        clickBox(view.scheduleCheckbox());
        // On, but no window to come.
        QCOMPARE(view.scheduleNote()->text(), turnOnLoginNote);
        QTest::mouseClick(view.addWindowButton(), Qt::LeftButton);
        QCOMPARE(view.scheduleNote()->text(), lostOnRestartNote);
        QVERIFY(view.scheduleNote()->palette().color(QPalette::WindowText) != calm);
        // A window with no days never comes.
        for (int weekday = 2; weekday <= 6; ++weekday) {
            clickBox(view.scheduleRows().front()->dayButton(weekday));
        }
        QCOMPARE(view.scheduleNote()->text(), turnOnLoginNote);
        QCOMPARE(view.scheduleNote()->palette().color(QPalette::WindowText), calm);
    }

    void rowsAreAddedRemovedAndFollowTheCheckbox() {
        Fixture f({camera("A")}, {});
        QVERIFY(f.setUpAndShow());
        SettingsViewController& view = f.view();
        QCOMPARE(view.scheduleCheckbox()->text(), QString("Watch on a schedule"));
        QVERIFY(!view.scheduleCheckbox()->isChecked());
        QVERIFY(view.scheduleRows().empty());
        QVERIFY(!view.addWindowButton()->isEnabled());

        clickBox(view.scheduleCheckbox());
        QVERIFY(f.defaults().boolValue(SettingsKeys::scheduledArmingEnabled));
        QVERIFY(view.addWindowButton()->isEnabled());
        QTest::mouseClick(view.addWindowButton(), Qt::LeftButton);
        QTest::mouseClick(view.addWindowButton(), Qt::LeftButton);
        QCOMPARE(view.scheduleRows().size(), std::size_t(2));
        const ScheduleWindow nights{{2, 3, 4, 5, 6}, 22 * 60, 7 * 60};
        QCOMPARE(Schedule::load(f.defaults()), (Schedule{{nights, nights}}));
        ScheduleRowView* first = view.scheduleRows().front();
        QVERIFY(!first->nextDayLabel()->isHidden());
        QCOMPARE(first->startPicker()->time(), QTime(22, 0));

        // Editing the second row, then removing the first.
        ScheduleRowView* second = view.scheduleRows().back();
        clickBox(second->dayButton(1));
        second->endPicker()->setTime(QTime(23, 0));
        QTest::mouseClick(first->removeButton(), Qt::LeftButton);
        const ScheduleWindow edited{{1, 2, 3, 4, 5, 6}, 22 * 60, 23 * 60};
        QCOMPARE(Schedule::load(f.defaults()), (Schedule{{edited}}));
        QCOMPARE(view.schedule(), (Schedule{{edited}}));
        QCOMPARE(view.scheduleRows().size(), std::size_t(1));
        QCOMPARE(view.scheduleRows().front()->scheduleWindow(), edited);
        QVERIFY(view.scheduleRows().front()->nextDayLabel()->isHidden());

        // Off: the rows stay, disabled.
        clickBox(view.scheduleCheckbox());
        QVERIFY(!f.defaults().boolValue(SettingsKeys::scheduledArmingEnabled));
        QCOMPARE(view.scheduleRows().size(), std::size_t(1));
        QVERIFY(!view.scheduleRows().front()->startPicker()->isEnabled());
        QVERIFY(!view.addWindowButton()->isEnabled());
        QCOMPARE(Schedule::load(f.defaults()), (Schedule{{edited}}));

        // The next opening shows what is stored.
        f.window->hide();
        f.window->showWindow();
        QCOMPARE(view.scheduleRows().size(), std::size_t(1));
        QCOMPARE(view.scheduleRows().front()->scheduleWindow(), edited);
    }

    void theEditedScheduleIsWhatTheRecordingManagerEvaluates() {
        Fixture f({camera("A")}, {});
        QVERIFY(f.setUpAndShow());
        RecordingManager& manager = *f.recordingManager;
        manager.setCameraAvailable(true);
        SettingsViewController& view = f.view();
        QCOMPARE(f.harness.clock.now().date().dayOfWeek(), 1);  // a Monday, 09:00
        clickBox(view.scheduleCheckbox());
        QTest::mouseClick(view.addWindowButton(), Qt::LeftButton);
        f.settle();
        // Weekday nights do not hold Monday morning.
        QCOMPARE(manager.armedState(), std::optional(ArmState::unarmed));
        QVERIFY(manager.scheduleEnabled());

        ScheduleRowView* row = view.scheduleRows().front();
        row->startPicker()->setTime(QTime(8, 30));
        row->endPicker()->setTime(QTime(9, 30));
        f.settle();
        QTRY_COMPARE(manager.armedState(), std::optional(ArmState::arming));
        QCOMPARE(manager.armingCountdown(), RecordingManager::scheduleArmCountdown);
        QCOMPARE(manager.armingCountdown(), 15);
        QVERIFY(manager.armedBySchedule());
        QCOMPARE(manager.schedule(), view.schedule());
        QCOMPARE(manager.schedule().windows.front(),
                 (ScheduleWindow{{2, 3, 4, 5, 6}, 8 * 60 + 30, 9 * 60 + 30}));

        f.harness.clock.advance(std::chrono::seconds(15));
        QCOMPARE(manager.armedState(), std::optional(ArmState::armed));
        // The window ends at 09:30 and disarms what it armed.
        f.harness.clock.advance(std::chrono::minutes(29));
        QCOMPARE(manager.armedState(), std::optional(ArmState::armed));
        f.harness.clock.advance(std::chrono::minutes(1));
        QTRY_COMPARE(manager.armedState(), std::optional(ArmState::unarmed));
    }

    // ---- Storage forecast -----------------------------------------------------------------

    void theForecastFollowsTheLimit() {
        Fixture f({camera("A")}, {});
        writeRecordings(f.harness.clock.now(), 3, qint64(1) << 30);
        QSignalSpy shown(&f.view(), &SettingsViewController::storageForecastShown);
        QVERIFY(f.setUpAndShow());
        SettingsViewController& view = f.view();
        QTRY_VERIFY(!shown.isEmpty());
        QCOMPARE(view.storageForecastLabel()->text(),
                 QString("At this week's rate, Nelvo records about 3.0 GB a day."));
        typeInto(view.recordingsLimitField(), "60");
        QCOMPARE(view.storageForecastLabel()->text(),
                 QString("At this week's rate, 60 GB holds about 20 days of recordings."));

        // Fewer than three: nothing.
        QFile::remove(f.recordingManager->fileOutputManager().recordings().front().url);
        f.window->hide();
        shown.clear();
        f.window->showWindow();
        QTRY_VERIFY(!shown.isEmpty());
        QVERIFY(view.storageForecastLabel()->text().isEmpty());
        QVERIFY(view.storageForecastLabel()->isHidden());
    }

    // ---- Pictures for the documentation ----------------------------------------------------

    void picturesForTheDocumentation() {
        {
            Fixture f({camera("A")}, {microphone("A")});
            QVERIFY(f.setUpAndShow());
            QTRY_COMPARE(f.view().cameraSelectPopup()->count(), 2);
            QTest::qWait(50);
            DocsImages::save(f.window->grab().toImage(), "settings-one-camera.png");
        }
        {
            Fixture f({camera("A"), camera("B")}, {microphone("A")});
            f.defaults().set(SettingsKeys::secondCameraID, "cam-b");
            f.defaults().set(SettingsKeys::scheduledArmingEnabled, true);
            f.defaults().set(SettingsKeys::recordingsLimitGB, 50);
            Schedule{{SettingsViewController::defaultScheduleWindow(),
                      ScheduleWindow{{1, 7}, 9 * 60, 17 * 60 + 30}}}
                .save(f.defaults());
            QVERIFY(!f.autostart.registerItem());
            writeRecordings(f.harness.clock.now(), 12, qint64(700) << 20);
            QSignalSpy shown(&f.view(), &SettingsViewController::storageForecastShown);
            QVERIFY(f.setUpAndShow());
            QTRY_VERIFY(!shown.isEmpty());
            QVERIFY(!f.view().storageForecastLabel()->text().isEmpty());
            QTRY_COMPARE(f.view().secondCameraSelectPopup()->currentData(), QVariant("cam-b"));
            QCOMPARE(f.view().scheduleRows().size(), std::size_t(2));
            QTest::qWait(50);
            DocsImages::save(f.window->grab().toImage(), "settings-two-cameras-schedule.png");
        }
    }
};

QTEST_MAIN(tst_SettingsViewController)
#include "tst_SettingsViewController.moc"
