#include "GreyFrame.h"
#include "GstHandle.h"
#include "StillWriter.h"

#include <gst/video/video.h>
#include <sys/stat.h>
#include <QDir>
#include <QFile>
#include <QImageReader>
#include <QTemporaryDir>
#include <QTest>

namespace {

mode_t modeOf(const QString& path) {
    struct stat info {};
    return lstat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 07777 : 0;
}

QStringList everything(const QString& folder) {
    return QDir(folder).entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
}

}  // namespace

// The still beside a movie: a JPEG its owner alone can read, written whole,
// and never through or over anything already at its name.
class tst_StillWriter : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    void aStillIsAPrivateJpeg() {
        QTemporaryDir folder;
        const QString path = folder.filePath("2025-03-14 07.05.09 - Cam.jpg");
        const mode_t previous = umask(0);
        const bool written = StillWriter::write(greyFrame().get(), path);
        umask(previous);
        QVERIFY(written);
        QCOMPARE(modeOf(path), mode_t(0600));
        QImageReader reader(path);
        QCOMPARE(reader.format(), QByteArray("jpeg"));
        QCOMPARE(reader.read().size(), QSize(64, 48));
        QCOMPARE(everything(folder.path()), QStringList{"2025-03-14 07.05.09 - Cam.jpg"});
    }

    void aLinkAtTheNameIsNeitherFollowedNorReplaced() {
        QTemporaryDir folder;
        QTemporaryDir elsewhere;
        const QString victim = elsewhere.filePath("photo.jpg");
        QFile file(victim);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("the user's own picture");
        file.close();
        QCOMPARE(chmod(QFile::encodeName(victim).constData(), 0644), 0);
        const QString path = folder.filePath("2025-03-14 07.05.09 - Cam.jpg");
        QVERIFY(QFile::link(victim, path));

        QVERIFY(!StillWriter::write(greyFrame().get(), path));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("the user's own picture"));
        QCOMPARE(modeOf(victim), mode_t(0644));
        QCOMPARE(QFileInfo(path).symLinkTarget(), victim);
        // No work file is left behind either.
        QCOMPARE(everything(folder.path()), QStringList{"2025-03-14 07.05.09 - Cam.jpg"});
    }
};

QTEST_GUILESS_MAIN(tst_StillWriter)
#include "tst_StillWriter.moc"
