#include "FileOutputManager.h"
#include "RecordingsListing.h"

#include <QDir>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

namespace {

QString recordingIn(const QString& folder, int minute) {
    return folder + u'/' +
           FileOutputManager::recordingName(
               QDateTime(QDate(2025, 3, 14), QTime(7, minute), Qt::LocalTime),
               QStringLiteral("Cam"), std::nullopt) +
           QStringLiteral(".mov");
}

bool makeRecording(const QString& folder, int minute) {
    QFile file(recordingIn(folder, minute));
    return file.open(QIODevice::WriteOnly) && file.write("movie") == 5;
}

}  // namespace

// The recordings folder as last seen, read on a queue of its own.
class tst_RecordingsListing : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aFolderIsListedAndAnnouncedOnce() {
        QTemporaryDir dir;
        QVERIFY(makeRecording(dir.path(), 1));
        RecordingsListing listing;
        QSignalSpy changed(&listing, &RecordingsListing::changed);
        listing.setFolder(dir.path());
        QVERIFY(listing.recordings().isEmpty());  // not read yet: nothing waits for it
        QVERIFY(!listing.isCurrent());
        QTRY_VERIFY(listing.isCurrent());
        QCOMPARE(changed.count(), 1);
        QCOMPARE(listing.recordings().size(), 1);
        QCOMPARE(listing.recordings().first().url, recordingIn(dir.path(), 1));

        // Read again unchanged: nothing to announce.
        listing.refresh();
        QTRY_VERIFY(listing.isCurrent());
        QCOMPARE(changed.count(), 1);

        QVERIFY(makeRecording(dir.path(), 2));
        listing.refresh();
        QTRY_VERIFY(listing.isCurrent());
        QCOMPARE(changed.count(), 2);
        QCOMPARE(listing.recordings().size(), 2);
    }

    // Requests made while the folder is being read give one more reading,
    // which sees everything made before the last request.
    void requestsDuringAReadingAreAnsweredByOneMore() {
        QTemporaryDir dir;
        RecordingsListing listing;
        listing.setFolder(dir.path());
        for (int minute = 0; minute < 20; ++minute) {
            QVERIFY(makeRecording(dir.path(), minute));
            listing.refresh();
        }
        QTRY_VERIFY(listing.isCurrent());
        QCOMPARE(listing.recordings().size(), 20);
    }

    void anotherFolderReplacesTheListing() {
        QTemporaryDir first;
        QTemporaryDir second;
        QVERIFY(makeRecording(first.path(), 1));
        QVERIFY(makeRecording(second.path(), 2));
        QVERIFY(makeRecording(second.path(), 3));
        RecordingsListing listing;
        listing.setFolder(first.path());
        listing.setFolder(second.path());  // while the first is read
        QTRY_VERIFY(listing.isCurrent());
        QCOMPARE(listing.folder(), second.path());
        QCOMPARE(listing.recordings().size(), 2);
        listing.setFolder(first.path());
        QVERIFY(listing.recordings().isEmpty());
        QTRY_VERIFY(listing.isCurrent());
        QCOMPARE(listing.recordings().size(), 1);
    }

    void aWriteTestLeavesNothingAndIsKeptPerFolder() {
        QTemporaryDir dir;
        RecordingsListing listing;
        listing.setFolder(dir.path());
        QCOMPARE(listing.writable(dir.path()), std::nullopt);
        QSignalSpy changed(&listing, &RecordingsListing::changed);
        listing.checkWritable(dir.path());
        QTRY_COMPARE(listing.writable(dir.path()), std::optional(true));
        QCOMPARE(listing.writable(dir.filePath("elsewhere")), std::nullopt);
        QCOMPARE(QDir(dir.path()).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot),
                 QStringList());
        listing.checkWritable(dir.filePath("missing"));
        QTRY_COMPARE(listing.writable(dir.filePath("missing")), std::optional(false));
        QVERIFY(changed.count() >= 2);
    }
};

QTEST_GUILESS_MAIN(tst_RecordingsListing)
#include "tst_RecordingsListing.moc"
