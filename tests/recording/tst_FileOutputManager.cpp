#include "FileOutputManager.h"
#include "RecordingFailure.h"
#include "StdoutCapture.h"
#include "TestMount.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>
#include <algorithm>

namespace {

QDateTime localTime(int y, int mo, int d, int h, int mi, int s) {
    return QDateTime(QDate(y, mo, d), QTime(h, mi, s), Qt::LocalTime);
}

void makeFile(const QString& path, qint64 bytes = 0) {
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(path));
    QVERIFY(file.resize(bytes));
}

QString fileName(const QString& path) {
    return QFileInfo(path).fileName();
}

mode_t modeOf(const QString& path) {
    struct stat info {};
    if (stat(QFile::encodeName(path).constData(), &info) != 0) {
        return 0;
    }
    return info.st_mode & 07777;
}

QStringList sortedNames(const QList<Recording>& recordings) {
    QStringList names;
    for (const Recording& r : recordings) {
        names.append(fileName(r.url));
    }
    names.sort();
    return names;
}

void setModificationTime(const QString& path, qint64 secondsSinceEpoch) {
    const timeval times[2] = {{static_cast<time_t>(secondsSinceEpoch), 0},
                              {static_cast<time_t>(secondsSinceEpoch), 0}};
    QCOMPARE(utimes(QFile::encodeName(path).constData(), times), 0);
}

}  // namespace

class tst_FileOutputManager : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        // Names are in local time; a zone with an offset and daylight saving
        // makes the difference from UTC visible.
        qputenv("TZ", "Europe/Berlin");
        tzset();
        umask(022);
    }

    void namesAreLocalStartTimeAndCleanedDevices() {
        const QDateTime utc(QDate(2025, 3, 14), QTime(6, 5, 9), Qt::UTC);
        QCOMPARE(FileOutputManager::recordingName(utc, QStringLiteral("Front Door"),
                                                  QStringLiteral("Desk Mic")),
                 QStringLiteral("2025-03-14 07.05.09 - Front Door + Desk Mic"));
        // Summer time: two hours ahead of UTC.
        const QDateTime summer(QDate(2025, 7, 1), QTime(22, 30, 0), Qt::UTC);
        QCOMPARE(FileOutputManager::recordingName(summer, std::nullopt, std::nullopt),
                 QStringLiteral("2025-07-02 00.30.00"));
    }

    void cameraNameWithSpacesColonAndSlashIsCleaned() {
        const QString name = FileOutputManager::recordingName(
            localTime(2025, 3, 14, 7, 5, 9), QStringLiteral("  Cam:1/A  "), std::nullopt);
        QCOMPARE(name, QStringLiteral("2025-03-14 07.05.09 - Cam-1-A"));
        QCOMPARE(FileOutputManager::recordingName(localTime(2025, 3, 14, 7, 5, 9),
                                                  QStringLiteral("\nCam\t"),
                                                  QString::fromUtf8("Mic\0One", 7)),
                 QStringLiteral("2025-03-14 07.05.09 - Cam + Mic-One"));
    }

    // A device name cannot put line breaks or terminal controls into a file
    // name, and the name still reads back as a recording of that camera.
    void controlCharactersInDeviceNamesAreReplaced() {
        QTemporaryDir dir;
        FileOutputManager manager(dir.path());
        const QDateTime start = localTime(2025, 3, 14, 7, 5, 9);
        const QString camera =
            QStringLiteral("Front\nDoor\x1b[31m\tCam") + QChar(0x85) + QChar(0x2028) + u'X';
        const QString microphone = QStringLiteral("Desk\rMic\x7f\x01");
        const QString path = manager.newRecordingURL(camera, microphone, start);
        const QString name = fileName(path);
        QCOMPARE(name, QStringLiteral("2025-03-14 07.05.09 - Front-Door-[31m-Cam--X + "
                                      "Desk-Mic--.mov"));
        for (const QChar c : name) {
            QVERIFY2(c.category() != QChar::Other_Control && c != QChar(0x2028),
                     qPrintable(QString::number(c.unicode(), 16)));
        }
        QCOMPARE(FileOutputManager::startDate(name), std::optional(start));
        makeFile(path, 10);
        const QList<Recording> listed = manager.recordings();
        QCOMPARE(listed.size(), 1);
        QCOMPARE(listed.first().url, path);
    }

    void noCameraAndBlankMicrophoneGiveStartTimeAlone() {
        QTemporaryDir dir;
        FileOutputManager manager(dir.path());
        const QString path = manager.newRecordingURL(std::nullopt, QStringLiteral("   "),
                                                     localTime(2025, 3, 14, 7, 5, 9));
        QCOMPARE(path, dir.filePath(QStringLiteral("2025-03-14 07.05.09.mov")));
        QVERIFY(QFileInfo(path).isAbsolute());
    }

    void issuingTwiceGivesSuffixTwoUntilTheFolderIsSetAgain() {
        QTemporaryDir dir;
        FileOutputManager manager(dir.path());
        const QDateTime start = localTime(2025, 3, 14, 7, 5, 9);
        const QString cam = QStringLiteral("Front Door");
        const QString mic = QStringLiteral("Desk Mic");
        const QString first = manager.newRecordingURL(cam, mic, start);
        const QString second = manager.newRecordingURL(cam, mic, start);
        QCOMPARE(fileName(first),
                 QStringLiteral("2025-03-14 07.05.09 - Front Door + Desk Mic.mov"));
        QCOMPARE(fileName(second),
                 QStringLiteral("2025-03-14 07.05.09 - Front Door + Desk Mic 2.mov"));
        QVERIFY(!QFile::exists(first));  // issuing creates nothing
        QCOMPARE(manager.issuedPaths(), (QSet<QString>{first, second}));

        manager.setFolder(dir.path());
        QVERIFY(manager.issuedPaths().isEmpty());
        QCOMPARE(manager.newRecordingURL(cam, mic, start), first);

        // Adopting another folder and coming back forgets the issued names too.
        QTemporaryDir other;
        QVERIFY(manager.adoptFolder(other.path()));
        QVERIFY(manager.adoptFolder(dir.path()));
        QCOMPARE(manager.newRecordingURL(cam, mic, start), first);
    }

    // A recorder running for weeks issues a name every few seconds: names whose
    // files are on disk are left to the folder to guard, so what is kept stays
    // as small as the recordings still waiting for their files.
    void namesWhoseFilesExistAreNotKept() {
        QTemporaryDir dir;
        FileOutputManager manager(dir.path());
        const QDateTime start = localTime(2025, 3, 14, 7, 5, 9);
        QString waiting;
        for (int i = 0; i < 200; ++i) {
            const QString path =
                manager.newRecordingURL(QStringLiteral("Cam"), std::nullopt, start.addSecs(i * 20));
            if (i == 100) {
                waiting = path;  // its file never appears while this runs
            } else {
                makeFile(path);
            }
        }
        QVERIFY2(manager.issuedPaths().size() <= 2,
                 qPrintable(QString::number(manager.issuedPaths().size())));
        QVERIFY(manager.issuedPaths().contains(waiting));
        // The folder still refuses every name it holds, and the one waiting.
        QCOMPARE(fileName(manager.newRecordingURL(QStringLiteral("Cam"), std::nullopt, start)),
                 QStringLiteral("2025-03-14 07.05.09 - Cam 2.mov"));
        QCOMPARE(
            manager.newRecordingURL(QStringLiteral("Cam"), std::nullopt, start.addSecs(100 * 20)),
            dir.filePath(fileName(waiting).chopped(4) + QStringLiteral(" 2.mov")));
    }

    void existingItemsMakeTheNextIssueTakeSuffixThree() {
        QTemporaryDir dir;
        FileOutputManager manager(dir.path());
        const QDateTime start = localTime(2025, 3, 14, 7, 5, 9);
        const QString base = dir.filePath(QStringLiteral("2025-03-14 07.05.09 - Cam"));
        makeFile(base + QStringLiteral(".mov"));
        makeFile(base + QStringLiteral(" 2.mov"));
        QCOMPARE(manager.newRecordingURL(QStringLiteral("Cam"), std::nullopt, start),
                 base + QStringLiteral(" 3.mov"));
        // Any kind of item takes a name: a folder, a link that leads nowhere.
        QVERIFY(QDir(dir.path()).mkdir(fileName(base) + QStringLiteral(" 4.mov")));
        QCOMPARE(symlink("/nonexistent/target", QFile::encodeName(base + " 5.mov").constData()), 0);
        QCOMPARE(manager.newRecordingURL(QStringLiteral("Cam"), std::nullopt, start),
                 base + QStringLiteral(" 6.mov"));
    }

    void longNamesAreCutAtWholeCharacters() {
        const QDateTime start = localTime(2025, 3, 14, 7, 5, 9);
        // "yyyy-MM-dd HH.mm.ss - " is 22 bytes; 205 more make 227.
        const QString fill(205, u'a');
        // A three-byte character across the 228-byte cap goes whole.
        QString name = FileOutputManager::recordingName(start, fill + QStringLiteral("\u20ACbbb"),
                                                        std::nullopt);
        QCOMPARE(name.toUtf8().size(), 227);
        QVERIFY(name.endsWith(u'a'));
        // So does a letter with a combining accent (one character, 3 bytes).
        name = FileOutputManager::recordingName(start, fill + QStringLiteral("e\u0301z"),
                                                std::nullopt);
        QCOMPARE(name.toUtf8().size(), 227);
        QVERIFY(name.endsWith(u'a'));
        // A flag is two code points and eight bytes; it is cut whole as well.
        name = FileOutputManager::recordingName(
            start, QString(200, u'a') + QStringLiteral("\U0001F1E9\U0001F1EA"), std::nullopt);
        QCOMPARE(name.toUtf8().size(), 222);
        // What the cut leaves at the end is trimmed, so the name may be shorter.
        name = FileOutputManager::recordingName(
            start, QString(204, u'a') + QStringLiteral(" \u20ACbb"), std::nullopt);
        QCOMPARE(name.toUtf8().size(), 226);
        QVERIFY(name.endsWith(u'a'));
        // Names that fit are left alone.
        name = FileOutputManager::recordingName(start, QString(206, u'a'), std::nullopt);
        QCOMPARE(name.toUtf8().size(), 228);
        // The longest name with every suffix still fits a Linux file name.
        const QString longest = name + QStringLiteral(" 99 - 9999999s missing.mov");
        QVERIFY(longest.toUtf8().size() <= 255);
    }

    void startTimesParseFromNames_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("parses");
        QTest::newRow("bare start time") << "2025-03-14 07.05.09.mov" << true;
        QTest::newRow("with devices") << "2025-03-14 07.05.09 - Front Door + Desk Mic.mov" << true;
        QTest::newRow("devices and suffix") << "2025-03-14 07.05.09 - Front Door 2.mov" << true;
        QTest::newRow("frame-loss mark") << "2025-03-14 07.05.09 - Cam - 12s missing.mov" << true;
        QTest::newRow("still, bare start time") << "2025-03-14 07.05.09.jpg" << true;
        QTest::newRow("still with devices") << "2025-03-14 07.05.09 - Cam + Mic.jpg" << true;
        QTest::newRow("no extension: the last dot is in the time")
            << "2025-03-14 07.05.09 - Cam" << false;
        QTest::newRow("suffix without devices") << "2025-03-14 07.05.09 2.mov" << false;
        QTest::newRow("30 February") << "2025-02-30 07.05.09.mov" << false;
        QTest::newRow("hour 24") << "2025-03-14 24.00.00.mov" << false;
        QTest::newRow("short") << "2025-03-14.mov" << false;
        QTest::newRow("one-digit month") << "2025-3-14 07.05.09 - Cam.mov" << false;
        QTest::newRow("other separators") << "2025-03-14 07:05:09.mov" << false;
        QTest::newRow("other file") << "notes.txt" << false;
        QTest::newRow("empty") << "" << false;
        QTest::newRow("bare start time without extension") << "2025-03-14 07.05.09" << false;
        QTest::newRow("Arabic-Indic digits") << "\u0662025-03-14 07.05.09.mov" << false;
    }
    void startTimesParseFromNames() {
        QFETCH(QString, name);
        QFETCH(bool, parses);
        const std::optional<QDateTime> date = FileOutputManager::startDate(name);
        QCOMPARE(date.has_value(), parses);
        if (parses) {
            QCOMPARE(*date, localTime(2025, 3, 14, 7, 5, 9));
        }
    }

    void aMoviesStillAndFrameLossNameBelongToItsRecording() {
        const QString movie = QStringLiteral("/r/2025-03-14 07.05.09 - Cam v1.0 + Mic 2.mov");
        const QString still = FileOutputManager::stillPath(movie);
        const QString renamed = FileOutputManager::frameLossPath(movie, 12);
        QCOMPARE(still, QStringLiteral("/r/2025-03-14 07.05.09 - Cam v1.0 + Mic 2.jpg"));
        QCOMPARE(renamed,
                 QStringLiteral("/r/2025-03-14 07.05.09 - Cam v1.0 + Mic 2 - 12s missing.mov"));
        for (const QString& path : {movie, still, renamed}) {
            QCOMPARE(FileOutputManager::startDate(fileName(path)),
                     std::optional(localTime(2025, 3, 14, 7, 5, 9)));
            QCOMPARE(FileOutputManager::recordingStem(fileName(path)),
                     QStringLiteral("2025-03-14 07.05.09 - Cam v1.0 + Mic 2"));
        }
        QVERIFY(FileOutputManager::isMovie(fileName(movie)));
        QVERIFY(FileOutputManager::isMovie(fileName(renamed)));
        QVERIFY(FileOutputManager::isMovie(QStringLiteral("2025-03-14 07.05.09.MOV")));
        QVERIFY(!FileOutputManager::isMovie(fileName(still)));
        QVERIFY(!FileOutputManager::isMovie(QStringLiteral(".mov")));
    }

    void frameLossMarksAreRecognisedOnlyWhole_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("stem");
        QTest::newRow("marked") << "a - 4s missing.mov"
                                << "a";
        QTest::newRow("without digits") << "a - s missing.mov"
                                        << "a - s missing";
        QTest::newRow("not at the end") << "a - 4s missing b.mov"
                                        << "a - 4s missing b";
        QTest::newRow("without its dash") << "a 4s missing.mov"
                                          << "a 4s missing";
        QTest::newRow("without extension") << "a - 4s missing"
                                           << "a";
    }
    void frameLossMarksAreRecognisedOnlyWhole() {
        QFETCH(QString, name);
        QFETCH(QString, stem);
        QCOMPARE(FileOutputManager::recordingStem(name), stem);
    }

    // A finished movie is found under the name it ends with: as opened, or
    // renamed for lost frames; never another recording's renamed file.
    void aFinishedMovieIsFoundUnderItsFinalName() {
        QTemporaryDir dir;
        const QString opened = dir.filePath(QStringLiteral("2026-01-02 03.04.05 - Cam.mov"));
        makeFile(dir.filePath(QStringLiteral("2026-01-02 03.04.05 - Cam 2 - 4s missing.mov")));
        makeFile(dir.filePath(QStringLiteral("2026-01-02 03.04.05 - Cam - 4s missing.jpg")));
        QCOMPARE(FileOutputManager::finishedPath(opened), opened);  // nowhere: as opened
        makeFile(FileOutputManager::frameLossPath(opened, 7));
        QCOMPARE(FileOutputManager::finishedPath(opened),
                 dir.filePath(QStringLiteral("2026-01-02 03.04.05 - Cam - 7s missing.mov")));
        makeFile(opened);
        QCOMPARE(FileOutputManager::finishedPath(opened), opened);
    }

    void aNameWithoutExtensionGetsTheMarkAtItsEnd() {
        QCOMPARE(FileOutputManager::frameLossPath(QStringLiteral("/r.d/movie"), 3),
                 QStringLiteral("/r.d/movie - 3s missing"));
        QCOMPARE(FileOutputManager::stillPath(QStringLiteral("/r.d/movie")),
                 QStringLiteral("/r.d/movie.jpg"));
    }

    void issuedNamesParseBackToTheirStart() {
        QTemporaryDir dir;
        FileOutputManager manager(dir.path());
        const QDateTime start = localTime(2025, 10, 26, 23, 59, 58);
        const QString path =
            manager.newRecordingURL(QStringLiteral("Cam"), QStringLiteral("Mic"), start);
        QCOMPARE(FileOutputManager::startDate(fileName(path)), std::optional(start));
    }

    void listingSkipsDirectoriesHiddenFilesAndOtherNames() {
        QTemporaryDir dir;
        const QString movie = QStringLiteral("2025-03-14 07.05.09 - Cam + Mic.mov");
        const QString still = QStringLiteral("2025-03-14 07.05.09 - Cam + Mic.jpg");
        const QString lossy = QStringLiteral("2025-03-14 08.00.00 - Cam - 4s missing.mov");
        makeFile(dir.filePath(movie), 1000);
        makeFile(dir.filePath(still), 20);
        makeFile(dir.filePath(lossy), 3);
        QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("2025-03-14 09.00.00 - Cam.mov")));
        makeFile(dir.filePath(QStringLiteral(".2025-03-14 10.00.00 - Cam.mov")), 5);
        makeFile(dir.filePath(QStringLiteral("notes.txt")), 5);
        makeFile(dir.filePath(QStringLiteral("2025-03-14 11.00.00 2.mov")), 5);
        QCOMPARE(
            symlink(QFile::encodeName(dir.filePath(movie)).constData(),
                    QFile::encodeName(dir.filePath("2025-03-14 12.00.00 - Link.mov")).constData()),
            0);
        // A name whose bytes are not text: it could not be addressed again.
        const QByteArray rawName =
            QFile::encodeName(dir.path()) + "/2025-03-14 13.00.00 - \xff.mov";
        const int fd = open(rawName.constData(), O_WRONLY | O_CREAT, 0600);
        QVERIFY(fd >= 0);
        close(fd);

        FileOutputManager manager(dir.path());
        const QList<Recording> found = manager.recordings();
        unlink(rawName.constData());
        QStringList expected{movie, still, lossy};
        expected.sort();
        QCOMPARE(sortedNames(found), expected);
        for (const Recording& r : found) {
            QCOMPARE(r.bytes, QFileInfo(r.url).size());
            QCOMPARE(std::optional(r.started), FileOutputManager::startDate(fileName(r.url)));
            QCOMPARE(QFileInfo(r.url).absolutePath(), dir.path());
        }
    }

    void listedStartsAgreeWithNamesAcrossClockChanges() {
        QTemporaryDir dir;
        // Around the spring and autumn clock changes in the test's zone.
        const QStringList times{
            "2025-03-30 01.59.59", "2025-03-30 03.00.00", "2025-03-30 03.30.00",
            "2025-10-26 01.59.59", "2025-10-26 02.00.00", "2025-10-26 02.30.00",
            "2025-10-26 02.59.59", "2025-10-26 03.00.00", "2025-10-26 03.00.01"};
        for (const QString& time : times) {
            makeFile(dir.filePath(time + QStringLiteral(" - Cam.mov")));
            makeFile(dir.filePath(time + QStringLiteral(" - Cam.jpg")));
        }
        const QList<Recording> found = FileOutputManager(dir.path()).recordings();
        QCOMPARE(found.size(), times.size() * 2);
        for (const Recording& r : found) {
            const std::optional<QDateTime> named = FileOutputManager::startDate(fileName(r.url));
            QVERIFY(named);
            // In the hour the clock repeats, a name fits two moments; either will do.
            if (!fileName(r.url).startsWith(QStringLiteral("2025-10-26 02."))) {
                QCOMPARE(r.started.toMSecsSinceEpoch(), named->toMSecsSinceEpoch());
            }
            QCOMPARE(r.started.toLocalTime().toString(u"yyyy-MM-dd HH.mm.ss"),
                     fileName(r.url).first(19));
        }
    }

    void unreadableFolderListsNothing() {
        if (geteuid() == 0) {
            QSKIP("root reads every folder; the unprivileged run covers this");
        }
        QTemporaryDir dir;
        makeFile(dir.filePath(QStringLiteral("2025-03-14 07.05.09.mov")), 10);
        makeFile(dir.filePath(QStringLiteral("2025-03-14 07.05.10.mov")), 10);
        FileOutputManager manager(dir.path());
        QCOMPARE(manager.recordings().size(), 2);
        QVERIFY(QFile::setPermissions(dir.path(), QFileDevice::WriteOwner));
        QVERIFY(manager.recordings().isEmpty());
        QVERIFY(!manager.newestRecording());
        QVERIFY(QFile::setPermissions(
            dir.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner));
    }

    void vanishedFolderListsNothingAndHasNoCapacity() {
        QTemporaryDir parent;
        const QString folder = parent.filePath(QStringLiteral("Recordings"));
        FileOutputManager manager(folder);
        makeFile(folder + QStringLiteral("/2025-03-14 07.05.09.mov"), 10);
        QCOMPARE(manager.recordings().size(), 1);
        QVERIFY(manager.availableCapacity());
        QVERIFY(QDir(folder).removeRecursively());
        QVERIFY(manager.recordings().isEmpty());
        QVERIFY(!manager.newestRecording());
        QVERIFY(!manager.availableCapacity());
    }

    void newestMovieIsTheLatestCreated() {
        QTemporaryDir dir;
        FileOutputManager manager(dir.path());
        QVERIFY(!manager.newestRecording());
        makeFile(dir.filePath(QStringLiteral("a.mov")));
        QThread::msleep(20);
        makeFile(dir.filePath(QStringLiteral("b.MOV")));
        QThread::msleep(20);
        makeFile(dir.filePath(QStringLiteral("c.jpg")));
        QCOMPARE(manager.newestRecording(), std::optional(dir.filePath(QStringLiteral("b.MOV"))));
        // Hidden entries count here, unlike in the listing.
        QThread::msleep(20);
        makeFile(dir.filePath(QStringLiteral(".hidden.mov")));
        QCOMPARE(manager.newestRecording(),
                 std::optional(dir.filePath(QStringLiteral(".hidden.mov"))));
    }

    void creationTimeIsTheBirthTimeWhereRecorded() {
        QTemporaryDir dir;
        if (!QFileInfo(dir.path()).birthTime().isValid()) {
            QSKIP("this file system records no birth times");
        }
        FileOutputManager manager(dir.path());
        makeFile(dir.filePath(QStringLiteral("first.mov")));
        QThread::msleep(20);
        makeFile(dir.filePath(QStringLiteral("second.mov")));
        // Touching the older file later does not make it the newest.
        setModificationTime(dir.filePath(QStringLiteral("first.mov")),
                            QDateTime::currentSecsSinceEpoch() + 3600);
        QCOMPARE(manager.newestRecording(),
                 std::optional(dir.filePath(QStringLiteral("second.mov"))));
    }

    void creationTimeFallsBackToModificationTime() {
        if (!TestMount::canMount()) {
            QSKIP("needs root to mount a file system without birth times (ramfs)");
        }
        QTemporaryDir dir;
        TestMount mount;
        QVERIFY(mount.mountMemory(QStringLiteral("ramfs"), dir.path()));
        QVERIFY(!QFileInfo(dir.path()).birthTime().isValid());
        FileOutputManager manager(dir.path());
        makeFile(dir.filePath(QStringLiteral("first.mov")));
        makeFile(dir.filePath(QStringLiteral("second.mov")));
        setModificationTime(dir.filePath(QStringLiteral("first.mov")), 2'000'000'000);
        setModificationTime(dir.filePath(QStringLiteral("second.mov")), 1'900'000'000);
        QCOMPARE(manager.newestRecording(),
                 std::optional(dir.filePath(QStringLiteral("first.mov"))));
    }

    void missingFolderIsCreatedOwnerOnlyWithItsParents() {
        QTemporaryDir dir;
        const QString folder = dir.filePath(QStringLiteral("Videos/deeper/Nelvo"));
        FileOutputManager manager(folder);
        QVERIFY(QFileInfo(folder).isDir());
        // Under the umask 022 of initTestCase, every folder made is private.
        QCOMPARE(modeOf(folder), mode_t(0700));
        QCOMPARE(modeOf(dir.filePath(QStringLiteral("Videos/deeper"))), mode_t(0700));
        QCOMPARE(modeOf(dir.filePath(QStringLiteral("Videos"))), mode_t(0700));
    }

    void existingFolderKeepsItsPermissions() {
        QTemporaryDir dir;
        const QString folder = dir.filePath(QStringLiteral("Shared"));
        QVERIFY(QDir().mkdir(folder));
        QCOMPARE(chmod(QFile::encodeName(folder).constData(), 0755), 0);
        FileOutputManager manager(folder);
        QVERIFY(manager.adoptFolder(dir.path()));
        QVERIFY(manager.adoptFolder(folder));
        QCOMPARE(modeOf(folder), mode_t(0755));
    }

    void folderThatCannotBeCreatedIsReportedAndLeftAlone() {
        QTemporaryDir dir;
        makeFile(dir.filePath(QStringLiteral("file")));
        const QString folder = dir.filePath(QStringLiteral("file/Nelvo"));
        StdoutCapture capture;
        FileOutputManager manager(folder);
        const QString printed = capture.take();
        QVERIFY2(printed.contains(QStringLiteral("Could not create the recordings folder ") +
                                  folder + QStringLiteral(": Not a directory")),
                 qPrintable(printed));
        QVERIFY(!QFileInfo::exists(folder));
        QVERIFY(manager.recordings().isEmpty());
    }

    void folderInUnwritableParentIsReportedAndLeftAlone() {
        if (geteuid() == 0) {
            QSKIP("root writes into every folder; the unprivileged run covers this");
        }
        QTemporaryDir dir;
        QVERIFY(QFile::setPermissions(dir.path(), QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        const QString folder = dir.filePath(QStringLiteral("Nelvo"));
        StdoutCapture capture;
        FileOutputManager manager(folder);
        const QString printed = capture.take();
        QVERIFY(QFile::setPermissions(
            dir.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner));
        QVERIFY2(printed.contains(QStringLiteral(": Permission denied")), qPrintable(printed));
        QVERIFY(!QFileInfo::exists(folder));
    }

    void sameFolderWrittenDifferentlyIsNotAdoptedAgain() {
        QTemporaryDir dir;
        FileOutputManager manager(dir.path());
        const QString issued = manager.newRecordingURL(QStringLiteral("Cam"), std::nullopt,
                                                       QDateTime::currentDateTime());
        QVERIFY(!manager.adoptFolder(dir.path() + u'/'));
        QVERIFY(!manager.adoptFolder(dir.path() + QStringLiteral("/.")));
        QVERIFY(!manager.adoptFolder(dir.path() + QStringLiteral("/./")));
        QCOMPARE(manager.issuedPaths(), QSet<QString>{issued});
        QCOMPARE(manager.nelvoPath(), dir.path());
        QTemporaryDir other;
        QVERIFY(manager.adoptFolder(other.path() + u'/'));
        QCOMPARE(manager.nelvoPath(), other.path() + u'/');  // kept as given
        QVERIFY(manager.issuedPaths().isEmpty());
        const QString next = manager.newRecordingURL(QStringLiteral("Cam"), std::nullopt,
                                                     QDateTime::currentDateTime());
        QCOMPARE(QFileInfo(next).absolutePath(), other.path());
        QVERIFY(!next.contains(QStringLiteral("//")));
    }

    void capacityIsWhatTheVolumeHasFree() {
        if (!TestMount::canMount()) {
            QSKIP("needs root to mount a volume of known size (tmpfs)");
        }
        QTemporaryDir dir;
        TestMount mount;
        QVERIFY(mount.mountMemory(QStringLiteral("tmpfs"), dir.path(), QStringLiteral("size=1m")));
        FileOutputManager manager(dir.path());
        QCOMPARE(manager.availableCapacity(), std::optional<qint64>(1 << 20));
        QFile file(dir.filePath(QStringLiteral("filler")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(QByteArray(256 * 1024, 'x')), qint64(256 * 1024));
        file.close();
        QCOMPARE(manager.availableCapacity(), std::optional<qint64>(768 * 1024));
    }

    void capacityAgreesWithDf() {
        QTemporaryDir dir;
        FileOutputManager manager(dir.path());
        QProcess df;
        df.start(QStringLiteral("df"),
                 {QStringLiteral("-B1"), QStringLiteral("--output=avail"), dir.path()});
        QVERIFY(df.waitForFinished());
        const QList<QByteArray> lines = df.readAllStandardOutput().trimmed().split('\n');
        bool ok = false;
        const qint64 reported = lines.last().trimmed().toLongLong(&ok);
        QVERIFY(ok);
        const std::optional<qint64> capacity = manager.availableCapacity();
        QVERIFY(capacity);
        // Others write to the same disk meanwhile; the figures agree closely.
        QVERIFY2(std::abs(*capacity - reported) < (qint64(256) << 20),
                 qPrintable(QStringLiteral("%1 vs %2").arg(*capacity).arg(reported)));
    }

    void filesAreRemovedAndMissingOnesReported() {
        QTemporaryDir dir;
        const QString movie = dir.filePath(QStringLiteral("2025-03-14 07.05.09.mov"));
        makeFile(movie, 10);
        QVERIFY(!FileOutputManager::removeFile(movie));
        QVERIFY(!QFileInfo::exists(movie));
        const std::optional<Error> error = FileOutputManager::removeFile(movie);
        QVERIFY(error);
        QCOMPARE(error->description, QStringLiteral("No such file or directory"));
    }
};

QTEST_GUILESS_MAIN(tst_FileOutputManager)
#include "tst_FileOutputManager.moc"
