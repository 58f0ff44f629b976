#include "HeadlessRig.h"
#include "PrivateBus.h"
#include "RecordingsFolder.h"
#include "TestEnvironment.h"
#include "TestMount.h"

#include <sys/mount.h>
#include <unistd.h>
#include <QTest>
#include <csignal>
#include <functional>
#include <memory>

using namespace HeadlessRig;

namespace {

const QString camera = QStringLiteral("Folder Camera");

// Nelvo armed with a chosen recordings folder, one camera and a bus to ask
// it about its notice.
class ArmedWithChosenFolder {
public:
    explicit ArmedWithChosenFolder(const QString& chosen) : chosen_(chosen) {}

    // Starts Nelvo; false (with the log in `problem`) when it does not arm.
    bool start(QString* problem) {
        if (!bus_.isRunning() || !cameras_.show(camera, QStringLiteral("still"))) {
            *problem = QStringLiteral("no bus or camera");
            return false;
        }
        writeSettings(environment_.settingsFilePath(), quickRecordings());
        {
            Defaults defaults(environment_.settingsFilePath());
            if (RecordingsFolder::choose(chosen_, defaults)) {
                *problem = QStringLiteral("cannot choose ") + chosen_;
                return false;
            }
            defaults.flush();
        }
        nelvo_ = std::make_unique<NelvoRun>(QStringList{"--headless"});
        logOnFailure_ = std::make_unique<LogOnFailure>(*nelvo_);
        if (!nelvo_->startedOK() || !armByCommand(*nelvo_) ||
            nelvo_->waitForLine(QStringLiteral("State: armed"), 60000).isEmpty()) {
            *problem = QStringLiteral("nelvo did not arm:\n") + nelvo_->log();
            return false;
        }
        return true;
    }

    // Motion until the `index`th recording starts; its path, or empty.
    QString startRecording(int index) {
        cameras_.show(camera, QStringLiteral("moving"));
        return pathOf(nelvo_->waitForLine(QStringLiteral("Recording to "), 30000, index));
    }
    // Stillness until Nelvo is armed for the `index`th time again.
    bool settle(int index) {
        cameras_.show(camera, QStringLiteral("still"));
        return !nelvo_->waitForLine(QStringLiteral("State: armed"), 30000, index).isEmpty();
    }
    bool quit() {
        nelvo_->signal(SIGTERM);
        return nelvo_->waitForExit(30000) &&
               nelvo_->process().exitStatus() == QProcess::NormalExit &&
               nelvo_->process().exitCode() == 0;
    }

    NelvoRun& nelvo() { return *nelvo_; }
    QString defaultFolder() const { return environment_.home() + QStringLiteral("/Videos/Nelvo"); }
    const QString& home() const { return environment_.home(); }

private:
    QString chosen_;
    TestEnvironment environment_;
    PrivateBus bus_;
    PluggedCameras cameras_;
    std::unique_ptr<NelvoRun> nelvo_;
    std::unique_ptr<LogOnFailure> logOnFailure_;
};

// A notice, if there is one, names a missing folder or a refused write: the
// two classes a vanished or locked folder can give.
QString unexpectedNotice() {
    const QString notice = status().value(QStringLiteral("notice")).toString();
    if (notice.isEmpty() || failureCount(notice, missingReason) ||
        failureCount(notice, notPermittedReason)) {
        return {};
    }
    return notice;
}

}  // namespace

// The recordings folder goes away, or stops taking files, in the middle of a
// recording: Nelvo goes on, says why recordings fail, and at the next start
// falls back to its default folder where the chosen one cannot be reached.
class tst_VanishedFolder : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aFolderDeletedWhileRecordingFallsBackToTheDefaultFolder() {
        QTemporaryDir place;
        const QString chosen = place.filePath(QStringLiteral("Chosen"));
        QVERIFY(QDir().mkpath(chosen));
        ArmedWithChosenFolder rig(chosen);
        QString problem;
        QVERIFY2(rig.start(&problem), qPrintable(problem));

        const QString first = rig.startRecording(0);
        QVERIFY2(first.startsWith(chosen + u'/'), qPrintable(rig.nelvo().log()));
        QVERIFY(QDir(chosen).removeRecursively());
        QVERIFY2(rig.settle(1), qPrintable(rig.nelvo().log()));
        QVERIFY2(unexpectedNotice().isEmpty(), qPrintable(unexpectedNotice()));

        const QString second = rig.startRecording(1);
        QVERIFY2(second.startsWith(rig.defaultFolder() + u'/'), qPrintable(rig.nelvo().log()));
        QVERIFY2(rig.settle(2), qPrintable(rig.nelvo().log()));
        QVERIFY2(rig.quit(), qPrintable(rig.nelvo().log()));
        QCOMPARE(moviesUnder(rig.defaultFolder()).size(), 1);
        QCOMPARE(moviesProblems(rig.defaultFolder()), QString());
        QVERIFY(!QFileInfo::exists(chosen));  // nothing made the chosen folder again
    }

    // The folder's write permission taken away; as root, which permissions
    // do not stop, the folder is also made immutable. The recordings that
    // follow fail as not permitted, and Nelvo keeps running.
    void aFolderMadeReadOnlyWhileRecordingIsReportedAsNotPermitted() {
        QTemporaryDir place;
        const QString chosen = place.filePath(QStringLiteral("Chosen"));
        QVERIFY(QDir().mkpath(chosen));
        ArmedWithChosenFolder rig(chosen);
        QString problem;
        QVERIFY2(rig.start(&problem), qPrintable(problem));

        const QString first = rig.startRecording(0);
        QVERIFY2(first.startsWith(chosen + u'/'), qPrintable(rig.nelvo().log()));
        QVERIFY(QFile::setPermissions(chosen, QFileDevice::ReadOwner | QFileDevice::ExeOwner |
                                                  QFileDevice::ReadGroup | QFileDevice::ExeGroup |
                                                  QFileDevice::ReadOther | QFileDevice::ExeOther));
        std::unique_ptr<const QString, std::function<void(const QString*)>> mutable_;
        if (geteuid() == 0) {
            QCOMPARE(QProcess::execute(QStringLiteral("chattr"), {"+i", chosen}), 0);
            mutable_ = {&chosen, [](const QString* path) {
                            QProcess::execute(QStringLiteral("chattr"), {"-i", *path});
                        }};
        }
        QVERIFY2(rig.settle(1), qPrintable(rig.nelvo().log()));

        // The next trigger cannot make its file.
        rig.startRecording(1);
        QVERIFY2(rig.settle(2), qPrintable(rig.nelvo().log()));
        QTRY_VERIFY_WITH_TIMEOUT(
            failureCount(status().value(QStringLiteral("notice")).toString(), notPermittedReason)
                    .value_or(0) >= 1,
            15000);

        QVERIFY2(rig.quit(), qPrintable(rig.nelvo().log()));
        QCOMPARE(moviesProblems(chosen), QString());
    }

    // The disk the folder is on is unmounted lazily, as a desktop does when
    // a USB disk is pulled: the next recording goes to the default folder.
    void aDiskUnmountedUnderTheFolderFallsBackToTheDefaultFolder() {
        if (!TestMount::canMount()) {
            QSKIP("mounting the test's own file system needs root");
        }
        QTemporaryDir place;
        const QString disk = place.filePath(QStringLiteral("disk"));
        QVERIFY(QDir().mkpath(disk));
        TestMount mount;
        // More than the 2 GiB Nelvo wants free; tmpfs takes memory only as it is written.
        QVERIFY(mount.mountMemory(QStringLiteral("tmpfs"), disk, QStringLiteral("size=3g")));
        const QString chosen = disk + QStringLiteral("/Recordings");
        QVERIFY(QDir().mkpath(chosen));
        ArmedWithChosenFolder rig(chosen);
        QString problem;
        QVERIFY2(rig.start(&problem), qPrintable(problem));

        const QString first = rig.startRecording(0);
        QVERIFY2(first.startsWith(chosen + u'/'), qPrintable(rig.nelvo().log()));
        QCOMPARE(::umount2(QFile::encodeName(disk).constData(), MNT_DETACH), 0);
        QVERIFY2(rig.settle(1), qPrintable(rig.nelvo().log()));
        QVERIFY2(unexpectedNotice().isEmpty(), qPrintable(unexpectedNotice()));

        const QString second = rig.startRecording(1);
        QVERIFY2(second.startsWith(rig.defaultFolder() + u'/'), qPrintable(rig.nelvo().log()));
        QVERIFY2(rig.settle(2), qPrintable(rig.nelvo().log()));
        QVERIFY2(rig.quit(), qPrintable(rig.nelvo().log()));
        QCOMPARE(moviesUnder(rig.defaultFolder()).size(), 1);
        QCOMPARE(moviesProblems(rig.defaultFolder()), QString());
        QVERIFY(!QFileInfo::exists(chosen));  // nothing was made on the bare mount point
    }
};

QTEST_GUILESS_MAIN(tst_VanishedFolder)
#include "tst_VanishedFolder.moc"
