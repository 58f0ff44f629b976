#include "DiskBudget.h"
#include "FileOutputManager.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>
#include <QTest>
#include <algorithm>

namespace {

constexpr qint64 gib = qint64(1) << 30;

// Files are sparse: gigabytes of listed size cost no disk.
void makeFile(const QString& path, qint64 bytes) {
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(path));
    QVERIFY(file.resize(bytes));
}

QStringList names(const QList<Recording>& recordings) {
    QStringList result;
    for (const Recording& r : recordings) {
        result.append(QFileInfo(r.url).fileName());
    }
    return result;
}

// The folder's listing in the order given by the names (listing order is
// the file system's, so tests that depend on order arrange it).
QList<Recording> listingInOrder(const QString& folder, const QStringList& order) {
    QList<Recording> listed = FileOutputManager(folder).recordings();
    std::sort(listed.begin(), listed.end(), [&](const Recording& a, const Recording& b) {
        return order.indexOf(QFileInfo(a.url).fileName()) <
               order.indexOf(QFileInfo(b.url).fileName());
    });
    return listed;
}

QString nameAt(const QDateTime& start, const QString& camera, const QString& extension) {
    return FileOutputManager::recordingName(start, camera, QStringLiteral("Mic")) + u'.' +
           extension;
}

}  // namespace

class tst_DiskBudget : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void limitIsWholeGibibytes() {
        QCOMPARE(DiskBudget::limitBytes(5), std::optional<qint64>(5368709120));
        QCOMPARE(DiskBudget::limitBytes(1), std::optional<qint64>(gib));
        QCOMPARE(DiskBudget::limitBytes(0), std::nullopt);
        QCOMPARE(DiskBudget::limitBytes(-4), std::nullopt);
    }

    void limitAboveTenThousandBehavesAsTenThousand() {
        QCOMPARE(DiskBudget::limitBytes(20000), DiskBudget::limitBytes(10000));
        QCOMPARE(DiskBudget::limitBytes(20000), std::optional<qint64>(10000 * gib));
    }

    void filesSummingExactlyToTheLimitAreKept() {
        QTemporaryDir dir;
        for (int i = 0; i < 5; ++i) {
            makeFile(dir.filePath(QStringLiteral("2025-03-14 07.05.0%1 - Cam.mov").arg(i)), gib);
        }
        const QList<Recording> listed = FileOutputManager(dir.path()).recordings();
        QCOMPARE(listed.size(), 5);
        QVERIFY(DiskBudget::filesToDelete(listed, DiskBudget::limitBytes(5), {}).isEmpty());
        // One byte more and the oldest goes.
        makeFile(dir.filePath(QStringLiteral("2025-03-14 08.00.00 - Cam.jpg")), 1);
        QCOMPARE(names(DiskBudget::filesToDelete(FileOutputManager(dir.path()).recordings(),
                                                 DiskBudget::limitBytes(5), {})),
                 QStringList{"2025-03-14 07.05.00 - Cam.mov"});
    }

    void noLimitDeletesNothing() {
        QTemporaryDir dir;
        makeFile(dir.filePath(QStringLiteral("2025-03-14 07.05.09 - Cam.mov")), 10 * gib);
        const QList<Recording> listed = FileOutputManager(dir.path()).recordings();
        QVERIFY(DiskBudget::filesToDelete(listed, std::nullopt, {}).isEmpty());
        QVERIFY(DiskBudget::filesToDelete(listed, 0, {}).isEmpty());
        QVERIFY(DiskBudget::filesToDelete(listed, -1, {}).isEmpty());
    }

    void unreadableFolderDeletesNothing() {
        QTemporaryDir dir;
        makeFile(dir.filePath(QStringLiteral("2025-03-14 07.05.09 - Cam.mov")), 2 * gib);
        makeFile(dir.filePath(QStringLiteral("2025-03-14 08.05.09 - Cam.mov")), 2 * gib);
        const FileOutputManager manager(dir.path());
        // Readable, the folder is over its limit and its oldest recording goes.
        QVERIFY(!DiskBudget::filesToDelete(manager.recordings(), DiskBudget::limitBytes(1), {})
                     .isEmpty());
        QVERIFY(QFile::setPermissions(dir.path(), QFileDevice::WriteOwner | QFileDevice::ExeOwner));
        const bool readable = !QDir(dir.path()).entryList(QDir::Files).isEmpty();
        const QList<Recording> listed = manager.recordings();
        QVERIFY(QFile::setPermissions(
            dir.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner));
        if (readable) {
            QSKIP("this user reads every folder; the unprivileged run covers this");
        }
        QVERIFY(listed.isEmpty());
        QVERIFY(DiskBudget::filesToDelete(listed, DiskBudget::limitBytes(1), {}).isEmpty());
        QCOMPARE(QDir(dir.path()).entryList(QDir::Files).size(), 2);
    }

    void movieAndStillGoTogetherMovieFirst() {
        QTemporaryDir dir;
        const QString movie = QStringLiteral("2025-03-14 07.05.09 - Cam + Mic.mov");
        const QString still = QStringLiteral("2025-03-14 07.05.09 - Cam + Mic.jpg");
        const QString newer = QStringLiteral("2025-03-14 09.00.00 - Cam + Mic.mov");
        makeFile(dir.filePath(movie), 600);
        makeFile(dir.filePath(still), 50);
        makeFile(dir.filePath(newer), 500);
        // Deleting the movie alone would be enough; its still goes with it.
        const QList<Recording> chosen =
            DiskBudget::filesToDelete(listingInOrder(dir.path(), {still, newer, movie}), 600, {});
        QCOMPARE(names(chosen), (QStringList{movie, still}));
        for (const Recording& r : chosen) {
            QVERIFY(!FileOutputManager::removeFile(r.url));
        }
        qint64 left = 0;
        for (const Recording& r : FileOutputManager(dir.path()).recordings()) {
            left += r.bytes;
        }
        QVERIFY(left <= 600);
    }

    void frameLossMarkDoesNotSplitAGroup() {
        QTemporaryDir dir;
        const QString movie = QStringLiteral("2025-03-14 07.05.09 - Cam + Mic - 12s missing.mov");
        const QString still = QStringLiteral("2025-03-14 07.05.09 - Cam + Mic.jpg");
        const QString newer = QStringLiteral("2025-03-14 09.00.00 - Cam + Mic.mov");
        makeFile(dir.filePath(movie), 100);
        makeFile(dir.filePath(still), 10);
        makeFile(dir.filePath(newer), 100);
        QCOMPARE(DiskBudget::groupKey(dir.filePath(movie)),
                 DiskBudget::groupKey(dir.filePath(still)));
        QCOMPARE(names(DiskBudget::filesToDelete(listingInOrder(dir.path(), {still, movie, newer}),
                                                 150, {})),
                 (QStringList{movie, still}));
    }

    void groupKeys_data() {
        QTest::addColumn<QString>("path");
        QTest::addColumn<QString>("key");
        QTest::newRow("movie") << "/r/2025-03-14 07.05.09 - Cam.mov"
                               << "/r/2025-03-14 07.05.09 - Cam";
        QTest::newRow("marked") << "/r/2025-03-14 07.05.09 - Cam - 4s missing.mov"
                                << "/r/2025-03-14 07.05.09 - Cam";
        QTest::newRow("folder written loosely") << "/r/./x/../2025-03-14 07.05.09.jpg"
                                                << "/r/2025-03-14 07.05.09";
        QTest::newRow("mark without digits") << "/r/a - s missing.mov"
                                             << "/r/a - s missing";
        QTest::newRow("mark not at the end") << "/r/a - 4s missing b.mov"
                                             << "/r/a - 4s missing b";
        QTest::newRow("mark without its dash") << "/r/a 4s missing.mov"
                                               << "/r/a 4s missing";
    }
    void groupKeys() {
        QFETCH(QString, path);
        QFETCH(QString, key);
        QCOMPARE(DiskBudget::groupKey(path), key);
    }

    void groupBeingRecordedIsSkipped() {
        QTemporaryDir dir;
        // A rolled-over recording: its earlier file shares no key with the open one.
        const QString open = QStringLiteral("2025-03-14 07.00.00 - Cam + Mic.mov");
        const QString openStill = QStringLiteral("2025-03-14 07.00.00 - Cam + Mic.jpg");
        const QString rolled = QStringLiteral("2025-03-14 07.30.00 - Cam + Mic.mov");
        const QString next = QStringLiteral("2025-03-14 08.00.00 - Cam + Mic.mov");
        for (const QString& name : {open, openStill, rolled, next}) {
            makeFile(dir.filePath(name), 100);
        }
        const QSet<QString> inProgress{QDir::cleanPath(dir.filePath(open))};
        QCOMPARE(names(DiskBudget::filesToDelete(FileOutputManager(dir.path()).recordings(), 300,
                                                 inProgress)),
                 (QStringList{rolled}));
        QCOMPARE(names(DiskBudget::filesToDelete(FileOutputManager(dir.path()).recordings(), 150,
                                                 inProgress)),
                 (QStringList{rolled, next}));  // still over: the open group stays anyway
    }

    void groupsStartingTogetherKeepTheirOrder() {
        QTemporaryDir dir;
        const QDateTime start(QDate(2025, 3, 14), QTime(7, 5, 9));
        const QString front = nameAt(start, QStringLiteral("Front"), QStringLiteral("mov"));
        const QString back = nameAt(start, QStringLiteral("Back"), QStringLiteral("mov"));
        makeFile(dir.filePath(front), 100);
        makeFile(dir.filePath(back), 100);
        QCOMPARE(
            names(DiskBudget::filesToDelete(listingInOrder(dir.path(), {front, back}), 100, {})),
            QStringList{front});
        QCOMPARE(
            names(DiskBudget::filesToDelete(listingInOrder(dir.path(), {back, front}), 100, {})),
            QStringList{back});
    }

    void triggerCostNeedsTenRecordingsOfTheLastDay() {
        QTemporaryDir dir;
        const QDateTime now = QDateTime::fromSecsSinceEpoch(QDateTime::currentSecsSinceEpoch());
        // 8 Mbit/s: a million bytes per second of recording.
        for (int i = 0; i < 9; ++i) {
            makeFile(dir.filePath(nameAt(now.addSecs(-3600 * i), QStringLiteral("Cam"), "mov")),
                     (10 + i) * 1'000'000);
        }
        makeFile(dir.filePath(nameAt(now.addSecs(-86401), QStringLiteral("Cam"), "mov")), 1);
        makeFile(dir.filePath(nameAt(now.addSecs(60), QStringLiteral("Future"), "mov")), 1);
        FileOutputManager manager(dir.path());
        QCOMPARE(DiskBudget::recordingCost(manager.recordings(), now, 8, 10), std::nullopt);

        makeFile(dir.filePath(nameAt(now.addSecs(-86400), QStringLiteral("Cam"), "mov")),
                 30'000'000);
        const std::optional<DiskBudget::RecordingCost> cost =
            DiskBudget::recordingCost(manager.recordings(), now, 8, 10);
        QVERIFY(cost);
        QCOMPARE(cost->count, qint64(10));
        // Lengths 10...18 s and 30 s: the upper middle of ten is 15 s.
        QCOMPARE(cost->typicalSeconds, 15.0);
        QCOMPARE(cost->minimumSeconds, 18.0);
        // The settings are clamped.
        QCOMPARE(DiskBudget::recordingCost(manager.recordings(), now, 45, 900)->minimumSeconds,
                 630.0);
    }

    void costSentenceDependsOnHowMuchLongerThanTheMinimum() {
        QCOMPARE(DiskBudget::costText(12, 14, 10),
                 QStringLiteral(
                     "12 recordings in the last day, most barely longer than the 10s minimum."));
        QCOMPARE(
            DiskBudget::costText(12, 15, 10),
            QStringLiteral("12 recordings in the last day, typically 15s. Nelvo can't make one "
                           "shorter than 10s."));
        QCOMPARE(
            DiskBudget::costText(40, 20.5, 12.5),
            QStringLiteral("40 recordings in the last day, typically 21s. Nelvo can't make one "
                           "shorter than 13s."));
    }
};

QTEST_GUILESS_MAIN(tst_DiskBudget)
#include "tst_DiskBudget.moc"
