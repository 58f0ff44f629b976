#include "Defaults.h"
#include "FileError.h"
#include "FileOutputManager.h"
#include "FolderReference.h"
#include "RecordingFailure.h"
#include "RecordingsFolder.h"
#include "SettingsKeys.h"
#include "StdoutCapture.h"
#include "TestEnvironment.h"
#include "TestMount.h"

#include <sys/stat.h>
#include <unistd.h>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <memory>

namespace {

void makeFile(const QString& path) {
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(path));
}

QStringList entries(const QString& folder) {
    QStringList names =
        QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot);
    names.sort();
    return names;
}

QByteArray storedReference(Defaults& defaults) {
    return defaults.data(SettingsKeys::recordingsFolderBookmark).value_or(QByteArray());
}

FolderReference referenceTo(const QString& folder) {
    auto made = FolderReference::make(folder);
    if (!std::holds_alternative<FolderReference>(made)) {
        qFatal("no reference to %s", qPrintable(folder));
    }
    return std::get<FolderReference>(made);
}

// A loop device attached to an image for one test, detached at its end.
struct LoopDevice {
    QString device;
    explicit LoopDevice(const QString& image) {
        QProcess losetup;
        losetup.start(QStringLiteral("losetup"),
                      {QStringLiteral("-f"), QStringLiteral("--show"), image});
        if (losetup.waitForFinished() && losetup.exitCode() == 0) {
            device = QString::fromUtf8(losetup.readAllStandardOutput().trimmed());
        }
    }
    ~LoopDevice() {
        if (!device.isEmpty()) {
            QProcess::execute(QStringLiteral("losetup"), {QStringLiteral("-d"), device});
        }
    }
};

}  // namespace

class tst_RecordingsFolder : public QObject {
    Q_OBJECT

    std::unique_ptr<TestEnvironment> env_;
    std::unique_ptr<Defaults> defaults_;

    Defaults& defaults() { return *defaults_; }
    QString makeFolder(const QString& relative) {
        const QString path = env_->home() + u'/' + relative;
        QDir().mkpath(path);
        return path;
    }

private Q_SLOTS:
    void init() {
        env_ = std::make_unique<TestEnvironment>();
        defaults_ = std::make_unique<Defaults>(env_->settingsFilePath());
    }
    void cleanup() {
        defaults_.reset();
        env_.reset();
    }

    void defaultFolderIsNelvoInTheVideosFolder() {
        QCOMPARE(RecordingsFolder::defaultFolder(), env_->home() + QStringLiteral("/Videos/Nelvo"));
        QFile dirs(env_->home() + QStringLiteral("/.config/user-dirs.dirs"));
        QVERIFY(dirs.open(QIODevice::WriteOnly));
        dirs.write("XDG_VIDEOS_DIR=\"$HOME/Filme\"\n");
        dirs.close();
        QCOMPARE(RecordingsFolder::defaultFolder(), env_->home() + QStringLiteral("/Filme/Nelvo"));
    }

    void noChoiceStoredGivesTheDefaultFolderInUse() {
        const QString folder = RecordingsFolder::defaultFolder();
        FileOutputManager manager(folder);  // creates it, as recording does
        QCOMPARE(RecordingsFolder::chosenFolder(defaults()), std::nullopt);
        QCOMPARE(RecordingsFolder::resolve(defaults()),
                 (RecordingsFolder::Resolved{folder, false}));
        QCOMPARE(RecordingsFolder::folderState(defaults()), FolderState::inUse(folder));
    }

    void chosenFolderIsUsedWhileReachable() {
        const QString chosen = makeFolder(QStringLiteral("Disk/Recordings"));
        QVERIFY(!RecordingsFolder::choose(chosen, defaults()));
        QCOMPARE(RecordingsFolder::resolve(defaults()),
                 (RecordingsFolder::Resolved{chosen, false}));
        QCOMPARE(RecordingsFolder::folderState(defaults()), FolderState::inUse(chosen));
    }

    void folderOnAPathThatDisappearsFallsBackUntilItIsBack() {
        const QString chosen = makeFolder(QStringLiteral("Disk/Recordings"));
        const QString fallback = RecordingsFolder::defaultFolder();
        FileOutputManager manager(fallback);
        QVERIFY(!RecordingsFolder::choose(chosen, defaults()));
        const QByteArray stored = storedReference(defaults());

        QVERIFY(QDir(env_->home()).rename(QStringLiteral("Disk"), QStringLiteral("Away")));
        QCOMPARE(RecordingsFolder::chosenFolder(defaults()), std::optional(chosen));
        QCOMPARE(RecordingsFolder::resolve(defaults()),
                 (RecordingsFolder::Resolved{fallback, true}));
        QCOMPARE(RecordingsFolder::folderState(defaults()),
                 FolderState::fellBack(fallback, chosen));
        QCOMPARE(storedReference(defaults()), stored);  // the choice is kept

        QVERIFY(QDir(env_->home()).rename(QStringLiteral("Away"), QStringLiteral("Disk")));
        QCOMPARE(RecordingsFolder::resolve(defaults()),
                 (RecordingsFolder::Resolved{chosen, false}));
        QCOMPARE(RecordingsFolder::folderState(defaults()), FolderState::inUse(chosen));
    }

    void folderOnADiskThatIsNotAttachedFallsBackUntilItIsBack() {
        if (!TestMount::canMount()) {
            QSKIP("needs root to attach and detach a disk image");
        }
        const QString image = env_->home() + QStringLiteral("/disk.img");
        QCOMPARE(QProcess::execute(QStringLiteral("truncate"), {"-s", "4M", image}), 0);
        QCOMPARE(QProcess::execute(QStringLiteral("mke2fs"), {"-q", "-t", "ext2", "-F", image}), 0);
        LoopDevice first(image);
        LoopDevice second(image);
        if (first.device.isEmpty() || second.device.isEmpty()) {
            QSKIP("no loop devices on this machine");
        }
        const QString mountPoint = makeFolder(QStringLiteral("media/Disk"));
        const QString chosen = mountPoint + QStringLiteral("/Recordings");
        const QString fallback = RecordingsFolder::defaultFolder();
        FileOutputManager manager(fallback);
        {
            TestMount disk;
            QVERIFY(disk.mountImage(image, mountPoint, first.device));
            QVERIFY(QDir().mkdir(chosen));
            QVERIFY(!RecordingsFolder::choose(chosen, defaults()));
            QCOMPARE(RecordingsFolder::resolve(defaults()),
                     (RecordingsFolder::Resolved{chosen, false}));
        }
        // Detached: only the empty mount point remains.
        QCOMPARE(RecordingsFolder::resolve(defaults()),
                 (RecordingsFolder::Resolved{fallback, true}));
        QCOMPARE(RecordingsFolder::folderState(defaults()),
                 FolderState::fellBack(fallback, chosen));
        // Attached again, through another device: same folder, new device
        // number, so the reference is renewed and the folder used again.
        TestMount disk;
        QVERIFY(disk.mountImage(image, mountPoint, second.device));
        QCOMPARE(RecordingsFolder::resolve(defaults()),
                 (RecordingsFolder::Resolved{chosen, false}));
        QCOMPARE(storedReference(defaults()), referenceTo(chosen).data());
        QCOMPARE(RecordingsFolder::folderState(defaults()), FolderState::inUse(chosen));
    }

    void theChosenMountPointItselfFallsBackWhenItsDiskIsGone() {
        if (!TestMount::canMount()) {
            QSKIP("needs root to mount a file system");
        }
        const QString chosen = makeFolder(QStringLiteral("mnt/backup"));
        const QString fallback = RecordingsFolder::defaultFolder();
        FileOutputManager manager(fallback);
        {
            TestMount disk;
            QVERIFY(disk.mountMemory(QStringLiteral("tmpfs"), chosen, QStringLiteral("size=1m")));
            QVERIFY(!RecordingsFolder::choose(chosen, defaults()));
            QCOMPARE(RecordingsFolder::resolve(defaults()),
                     (RecordingsFolder::Resolved{chosen, false}));
        }
        // The empty folder under the mount point is another folder on another
        // file system: recordings must not go there.
        QVERIFY(QFileInfo(chosen).isDir());
        QCOMPARE(RecordingsFolder::resolve(defaults()),
                 (RecordingsFolder::Resolved{fallback, true}));
    }

    void resolvingManyTimesLeavesTheStoredChoiceAlone() {
        const QString chosen = makeFolder(QStringLiteral("Chosen"));
        QVERIFY(!RecordingsFolder::choose(chosen, defaults()));
        const QByteArray stored = storedReference(defaults());
        defaults().flush();
        QTest::qWait(50);
        QSignalSpy changed(&defaults(), &Defaults::changed);
        for (int i = 0; i < 100; ++i) {
            QCOMPARE(RecordingsFolder::resolve(defaults()).folder, chosen);
        }
        defaults().flush();
        QTest::qWait(100);
        QCOMPARE(changed.count(), 0);
        QCOMPARE(storedReference(defaults()), stored);
    }

    void folderRenamedBesideItselfIsFoundAndTheReferenceRenewed() {
        const QString chosen = makeFolder(QStringLiteral("Disk/Recordings"));
        QVERIFY(!RecordingsFolder::choose(chosen, defaults()));
        QVERIFY(QDir(env_->home() + QStringLiteral("/Disk"))
                    .rename(QStringLiteral("Recordings"), QStringLiteral("Old recordings")));
        const QString renamed = env_->home() + QStringLiteral("/Disk/Old recordings");
        QCOMPARE(RecordingsFolder::resolve(defaults()),
                 (RecordingsFolder::Resolved{renamed, false}));
        QCOMPARE(storedReference(defaults()), referenceTo(renamed).data());
    }

    void referenceFromAnotherDeviceNumberIsRenewed() {
        const QString chosen = makeFolder(QStringLiteral("Chosen"));
        const FolderReference real = referenceTo(chosen);
        const FolderReference old(chosen, real.device() + 1, real.inode());
        defaults().set(SettingsKeys::recordingsFolderBookmark, old.data());
        QCOMPARE(RecordingsFolder::resolve(defaults()),
                 (RecordingsFolder::Resolved{chosen, false}));
        QCOMPARE(storedReference(defaults()), real.data());
    }

    void folderMadeAgainAtTheSamePlaceIsRenewed() {
        const QString chosen = makeFolder(QStringLiteral("Chosen"));
        QVERIFY(!RecordingsFolder::choose(chosen, defaults()));
        // Keep the old inode in use so the new folder cannot get it back.
        makeFolder(QStringLiteral("Elsewhere"));
        QVERIFY(QDir(env_->home()).rename(QStringLiteral("Chosen"), QStringLiteral("Elsewhere/x")));
        QVERIFY(QDir().mkdir(chosen));
        QCOMPARE(RecordingsFolder::resolve(defaults()),
                 (RecordingsFolder::Resolved{chosen, false}));
        QCOMPARE(storedReference(defaults()), referenceTo(chosen).data());
    }

    void corruptReferenceCountsAsNoChoice_data() {
        QTest::addColumn<QByteArray>("data");
        QTest::newRow("not JSON") << QByteArray("\x00\x01garbage", 9);
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("no inode") << QByteArray(R"({"path":"/tmp","device":"1"})");
        QTest::newRow("relative path") << QByteArray(R"({"path":"tmp","device":"1","inode":"2"})");
        QTest::newRow("numbers not text") << QByteArray(R"({"path":"/tmp","device":1,"inode":2})");
        QTest::newRow("array") << QByteArray("[1,2,3]");
    }
    void corruptReferenceCountsAsNoChoice() {
        QFETCH(QByteArray, data);
        const QString fallback = RecordingsFolder::defaultFolder();
        FileOutputManager manager(fallback);
        defaults().set(SettingsKeys::recordingsFolderBookmark, data);
        StdoutCapture capture;
        const RecordingsFolder::Resolved resolved = RecordingsFolder::resolve(defaults());
        const FolderState state = RecordingsFolder::folderState(defaults());
        const QString printed = capture.take();
        QCOMPARE(resolved, (RecordingsFolder::Resolved{fallback, false}));
        QCOMPARE(state, FolderState::inUse(fallback));  // not a fallback: nothing chosen exists
        QVERIFY2(printed.contains(QStringLiteral("The stored recordings folder could not be read")),
                 qPrintable(printed));
        QCOMPARE(storedReference(defaults()), data);  // never deleted here
    }

    void unreachableChoiceIsToldApartFromNoChoice() {
        const QString fallback = RecordingsFolder::defaultFolder();
        FileOutputManager manager(fallback);
        const QString chosen = makeFolder(QStringLiteral("Gone"));
        QVERIFY(!RecordingsFolder::choose(chosen, defaults()));
        QVERIFY(QDir(chosen).removeRecursively());
        const FolderState unreachable = RecordingsFolder::folderState(defaults());
        defaults().remove(SettingsKeys::recordingsFolderBookmark);
        const FolderState nothingChosen = RecordingsFolder::folderState(defaults());
        QCOMPARE(unreachable, FolderState::fellBack(fallback, chosen));
        QCOMPARE(nothingChosen, FolderState::inUse(fallback));
        QVERIFY(unreachable != nothingChosen);
    }

    void leftoverWriteTestsAreRemovedByTheNextTest() {
        const QString folder = makeFolder(QStringLiteral("Chosen"));
        makeFile(folder +
                 QStringLiteral("/.nelvo-write-test-0D6C5B7E-1111-2222-3333-444455556666"));
        makeFile(folder + QStringLiteral("/.nelvo-write-test-"));
        makeFile(folder + QStringLiteral("/.hidden"));
        makeFile(folder + QStringLiteral("/2025-03-14 07.05.09.mov"));
        makeFile(folder + QStringLiteral("/nelvo-write-test-visible"));
        QVERIFY(!RecordingsFolder::choose(folder, defaults()));
        QCOMPARE(RecordingsFolder::folderState(defaults()), FolderState::inUse(folder));
        QCOMPARE(entries(folder),
                 (QStringList{".hidden", "2025-03-14 07.05.09.mov", "nelvo-write-test-visible"}));
    }

    void choosingAnUnwritableFolderKeepsTheEarlierChoice() {
        if (geteuid() == 0) {
            QSKIP("root writes into every folder; the unprivileged run covers this");
        }
        const QString earlier = makeFolder(QStringLiteral("Earlier"));
        QVERIFY(!RecordingsFolder::chooseIfWritable(earlier, defaults()));
        const QByteArray stored = storedReference(defaults());
        const QString locked = makeFolder(QStringLiteral("Locked"));
        QVERIFY(QFile::setPermissions(locked, QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        const std::optional<Error> error = RecordingsFolder::chooseIfWritable(locked, defaults());
        QVERIFY(error);
        QCOMPARE(RecordingFailure::classify(*error).value(), RecordingFailure::notPermitted);
        QCOMPARE(storedReference(defaults()), stored);
        QCOMPARE(RecordingsFolder::resolve(defaults()).folder, earlier);
        QVERIFY(entries(locked).isEmpty());
    }

    void choosingAReadOnlyVolumeKeepsTheEarlierChoice() {
        if (!TestMount::canMount()) {
            QSKIP("needs root to mount a read-only volume");
        }
        const QString earlier = makeFolder(QStringLiteral("Earlier"));
        QVERIFY(!RecordingsFolder::chooseIfWritable(earlier, defaults()));
        const QByteArray stored = storedReference(defaults());
        const QString readOnly = makeFolder(QStringLiteral("ReadOnly"));
        TestMount volume;
        QVERIFY(volume.mountMemory(QStringLiteral("tmpfs"), readOnly, QStringLiteral("size=1m"),
                                   MS_RDONLY));
        const std::optional<Error> error = RecordingsFolder::chooseIfWritable(readOnly, defaults());
        QVERIFY(error);
        QCOMPARE(error->code, qint64(FileError::writeVolumeReadOnly));
        QCOMPARE(RecordingFailure::classify(*error).value(), RecordingFailure::notPermitted);
        QCOMPARE(storedReference(defaults()), stored);
        QCOMPARE(RecordingsFolder::resolve(defaults()).folder, earlier);
        // The same folder in use reads as not writable.
        QVERIFY(!RecordingsFolder::choose(readOnly, defaults()));
        QCOMPARE(RecordingsFolder::folderState(defaults()), FolderState::notWritable(readOnly));
    }

    void unwritableFolderInUseIsNotWritable() {
        if (geteuid() == 0) {
            QSKIP("root writes into every folder; the unprivileged run covers this");
        }
        const QString locked = makeFolder(QStringLiteral("Locked"));
        QVERIFY(!RecordingsFolder::choose(locked, defaults()));
        QVERIFY(QFile::setPermissions(locked, QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        QCOMPARE(RecordingsFolder::folderState(defaults()), FolderState::notWritable(locked));
    }

    void fallbackWinsOverAFailedWriteTest() {
        // The default folder does not exist yet, so writing there fails too.
        const QString chosen = makeFolder(QStringLiteral("Gone"));
        QVERIFY(!RecordingsFolder::choose(chosen, defaults()));
        QVERIFY(QDir(chosen).removeRecursively());
        QVERIFY(!QFileInfo::exists(RecordingsFolder::defaultFolder()));
        QCOMPARE(RecordingsFolder::folderState(defaults()),
                 FolderState::fellBack(RecordingsFolder::defaultFolder(), chosen));
    }

    void choosingAMissingFolderFails() {
        const std::optional<Error> error =
            RecordingsFolder::choose(env_->home() + QStringLiteral("/missing"), defaults());
        QVERIFY(error);
        QCOMPARE(RecordingFailure::classify(*error).value(), RecordingFailure::destinationMissing);
        QVERIFY(!defaults().data(SettingsKeys::recordingsFolderBookmark));
    }

    void statesAreEqualWhenCasesAndFoldersAre() {
        QCOMPARE(FolderState::inUse("/a"), FolderState::inUse("/a"));
        QVERIFY(FolderState::inUse("/a") != FolderState::inUse("/b"));
        QVERIFY(FolderState::inUse("/a") != FolderState::notWritable("/a"));
        QCOMPARE(FolderState::fellBack("/a", "/b"), FolderState::fellBack("/a", "/b"));
        QVERIFY(FolderState::fellBack("/a", "/b") != FolderState::fellBack("/a", "/c"));
        QVERIFY(FolderState::fellBack("/a", "/b") != FolderState::fellBack("/c", "/b"));
    }

    void stateTextsNameTheChosenFolderWithATilde() {
        const QString home = QDir::homePath();
        QCOMPARE(RecordingsFolder::stateText(FolderState::inUse(home + "/Videos/Nelvo")),
                 QStringLiteral("Recordings are saved here."));
        QCOMPARE(RecordingsFolder::stateText(
                     FolderState::fellBack(home + "/Videos/Nelvo", home + "/Disk/Recordings")),
                 QStringLiteral(
                     "~/Disk/Recordings isn't available, so recordings are going here for now."));
        QCOMPARE(
            RecordingsFolder::stateText(FolderState::fellBack(home, "/media/x/Disk")),
            QStringLiteral("/media/x/Disk isn't available, so recordings are going here for now."));
        QCOMPARE(
            RecordingsFolder::stateText(FolderState::notWritable("/x")),
            QStringLiteral("Nelvo isn't allowed to write here, so recordings will fail. Choose "
                           "somewhere else."));
        QCOMPARE(RecordingsFolder::displayPath(home), QStringLiteral("~"));
        QCOMPARE(RecordingsFolder::displayPath(home + QStringLiteral("x/y")), home + "x/y");
        QCOMPARE(RecordingsFolder::cantWriteText(),
                 QStringLiteral("Recordings are still going where they were. Some folders don't "
                                "allow it, including backup disks and anything read-only."));
        QCOMPARE(RecordingsFolder::cantWriteTitle("/media/x"),
                 QStringLiteral("Nelvo can't write to /media/x"));
    }
};

QTEST_GUILESS_MAIN(tst_RecordingsFolder)
#include "tst_RecordingsFolder.moc"
