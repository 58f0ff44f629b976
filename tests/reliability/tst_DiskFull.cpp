#include "HeadlessRig.h"
#include "RecordingsFolder.h"
#include "TestEnvironment.h"
#include "TestMount.h"

#include <fcntl.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <QTest>
#include <csignal>

using namespace HeadlessRig;

namespace {

// A real file system of its own for the recordings: a sparse ext4 image with
// no blocks reserved for root, larger than the 2 GiB Nelvo wants free before
// it starts a recording, so it starts and then meets the full disk.
bool makeImage(const QString& image) {
    QFile file(image);
    if (!file.open(QIODevice::WriteOnly) || !file.resize(qint64(2400) * 1024 * 1024)) {
        return false;
    }
    file.close();
    return QProcess::execute(
               QStringLiteral("mkfs.ext4"),
               {"-q", "-F", "-m", "0", "-E", "lazy_itable_init=1,lazy_journal_init=1", image}) == 0;
}

qint64 freeBytes(const QString& folder) {
    struct statvfs info {};
    if (::statvfs(QFile::encodeName(folder).constData(), &info) != 0) {
        return -1;
    }
    return qint64(info.f_bavail) * qint64(info.f_frsize);
}

// Takes every free block: one large allocation, then small writes until the
// file system refuses.
bool fill(const QString& path) {
    const int fd = ::open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0) {
        return false;
    }
    const qint64 free = freeBytes(QFileInfo(path).path());
    qint64 size = free - (free % 4096) - 16 * 4096;
    while (size > 0 && ::posix_fallocate(fd, 0, size) != 0) {
        size -= 4096 * 16;
    }
    static const char block[4096] = {};
    ::lseek(fd, 0, SEEK_END);
    while (::write(fd, block, sizeof block) > 0) {
    }
    ::fsync(fd);
    ::close(fd);
    return freeBytes(QFileInfo(path).path()) < 4096 * 4;
}

}  // namespace

// The disk under the recordings folder fills up during a recording.
class tst_DiskFull : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aFullDiskIsReportedAndRecordingResumesWhenSpaceIsFreed() {
        if (!TestMount::canMount()) {
            QSKIP("mounting the test's own file system needs root");
        }
        TestEnvironment environment;
        const QString image = environment.home() + QStringLiteral("/disk.img");
        const QString mountPoint = environment.home() + QStringLiteral("/disk");
        QVERIFY(QDir().mkpath(mountPoint));
        QVERIFY(makeImage(image));
        TestMount mount;
        QVERIFY(mount.mountImage(image, mountPoint));
        const QString folder = mountPoint + QStringLiteral("/Recordings");
        QVERIFY(QDir().mkpath(folder));

        QuietRoom room;
        QVERIFY2(room.problem().isEmpty(), qPrintable(room.problem()));
        PluggedCameras cameras;
        const QString camera = QStringLiteral("Disk Camera");
        QVERIFY(cameras.show(camera, QStringLiteral("still")));
        QVariantHash settings = quickRecordings();
        settings.insert(SettingsKeys::timeoutValueInSeconds, 8);
        writeSettings(environment.settingsFilePath(), settings);
        {
            Defaults defaults(environment.settingsFilePath());
            QVERIFY(!RecordingsFolder::choose(folder, defaults));
            defaults.flush();
        }

        NelvoRun nelvo({"--headless"});
        const LogOnFailure logOnFailure(nelvo);
        QVERIFY(nelvo.startedOK());
        QVERIFY2(armByCommand(nelvo), qPrintable(nelvo.log()));
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("State: armed"), 60000).isEmpty(),
                 qPrintable(nelvo.log()));

        // One recording finished while there is room.
        QVERIFY(cameras.show(camera, QStringLiteral("moving")));
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("Recording to "), 30000).isEmpty(),
                 qPrintable(nelvo.log()));
        QVERIFY(cameras.show(camera, QStringLiteral("still")));
        const QString finished = nelvo.waitForLine(QStringLiteral("Finished "), 30000);
        QVERIFY2(!finished.isEmpty(), qPrintable(nelvo.log()));
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("State: armed"), 30000, 1).isEmpty(),
                 qPrintable(nelvo.log()));

        // The disk fills while the next one is written.
        QVERIFY(cameras.show(camera, QStringLiteral("moving")));
        const QString cut = nelvo.waitForLine(QStringLiteral("Recording to "), 30000, 1);
        QVERIFY2(!cut.isEmpty(), qPrintable(nelvo.log()));
        // The scene goes still first, and the disk fills once every moving
        // frame already taken has been measured (a loaded machine measures
        // late): the recording runs on for its timeout, and no later trigger
        // asks for a recording that the full disk would refuse.
        QVERIFY(cameras.show(camera, QStringLiteral("still")));
        nelvo.waitForLine(QStringLiteral("\x01"), 4000);
        QVERIFY2(nelvo.linesStartingWith(QStringLiteral("Finished ")).size() == 1,
                 "the recording ended before the disk filled");
        QVERIFY(fill(mountPoint + QStringLiteral("/filler")));
        const QString failed =
            nelvo.waitForLine(QStringLiteral("Recording %1 ended with an error: ")
                                  .arg(QFileInfo(pathOf(cut)).fileName()),
                              30000);
        QVERIFY2(!failed.isEmpty(), qPrintable(nelvo.log()));
        QVERIFY2(!nelvo.waitForLine(QStringLiteral("State: armed"), 30000, 2).isEmpty(),
                 qPrintable(nelvo.log()));
        QString notice;
        QTRY_VERIFY2_WITH_TIMEOUT(
            failureCount(notice = status().value(QStringLiteral("notice")).toString(),
                         noRoomReason) == std::optional<int>(1),
            qPrintable(notice + u'\n' + nelvo.log()), 15000);

        // What was finished before is intact; nothing left behind is empty
        // or unreadable (a file whose writer failed is dropped whole).
        QVERIFY2(movieProblem(pathOf(finished)).isEmpty(),
                 qPrintable(movieProblem(pathOf(finished))));
        QCOMPARE(moviesProblems(folder), QString());

        // Room again: the next trigger records, and the notice goes.
        QVERIFY(QFile::remove(mountPoint + QStringLiteral("/filler")));
        QVERIFY(cameras.show(camera, QStringLiteral("moving")));
        const QString again = nelvo.waitForLine(QStringLiteral("Recording to "), 30000, 2);
        QVERIFY2(!again.isEmpty(), qPrintable(nelvo.log()));
        QVERIFY(cameras.show(camera, QStringLiteral("still")));
        const QString resumed = nelvo.waitForLine(QStringLiteral("Finished "), 30000, 1);
        QVERIFY2(!resumed.isEmpty(), qPrintable(nelvo.log()));
        QVERIFY2(movieProblem(pathOf(resumed)).isEmpty(),
                 qPrintable(movieProblem(pathOf(resumed))));
        QTRY_VERIFY_WITH_TIMEOUT(!status().contains(QStringLiteral("notice")), 15000);

        nelvo.signal(SIGTERM);
        QVERIFY(nelvo.waitForExit(30000));
        QCOMPARE(nelvo.process().exitCode(), 0);
        QCOMPARE(moviesProblems(folder), QString());
    }
};

QTEST_GUILESS_MAIN(tst_DiskFull)
#include "tst_DiskFull.moc"
