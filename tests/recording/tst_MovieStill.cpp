#include "FileOutputManager.h"
#include "GreyFrame.h"
#include "MovieStill.h"

#include <gst/video/video.h>
#include <QFile>
#include <QImageReader>
#include <QTemporaryDir>
#include <QTest>

class tst_MovieStill : public QObject {
    Q_OBJECT

    QTemporaryDir folder;
    QString movie;
    QString still;

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    void init() {
        movie = folder.filePath(QStringLiteral("%1.mov").arg(QTest::currentTestFunction()));
        still = FileOutputManager::stillPath(movie);
    }

    void anOwedStillIsWrittenBesideTheMovie() {
        MovieStill movieStill;
        movieStill.setNewestFrame(greyFrame());
        movieStill.movieOpened(true);
        movieStill.writeIfOwed(movie);
        movieStill.queue().drain();
        QImageReader reader(still);
        QCOMPARE(reader.format(), QByteArray("jpeg"));
        QCOMPARE(reader.size(), QSize(64, 48));
    }

    void aMovieWithoutAStillOwedGetsNone() {
        MovieStill movieStill;
        movieStill.setNewestFrame(greyFrame());
        movieStill.movieOpened(false);
        movieStill.writeIfOwed(movie);
        movieStill.queue().drain();
        QVERIFY(!QFile::exists(still));
    }

    void theStillIsWrittenOnce() {
        MovieStill movieStill;
        movieStill.setNewestFrame(greyFrame());
        movieStill.movieOpened(true);
        movieStill.writeIfOwed(movie);
        movieStill.queue().drain();
        QVERIFY(QFile::remove(still));
        movieStill.writeIfOwed(movie);
        movieStill.queue().drain();
        QVERIFY(!QFile::exists(still));
    }

    // A movie that began before any picture came gets its still from the
    // first frame after.
    void withoutAFrameTheStillStaysOwed() {
        MovieStill movieStill;
        movieStill.movieOpened(true);
        movieStill.writeIfOwed(movie);
        movieStill.queue().drain();
        QVERIFY(!QFile::exists(still));
        movieStill.setNewestFrame(greyFrame());
        movieStill.writeIfOwed(movie);
        movieStill.queue().drain();
        QVERIFY(QFile::exists(still));
    }

    void aForgottenFrameMakesNoStill() {
        MovieStill movieStill;
        movieStill.setNewestFrame(greyFrame());
        movieStill.forgetFrame();
        movieStill.movieOpened(true);
        movieStill.writeIfOwed(movie);
        movieStill.queue().drain();
        QVERIFY(!QFile::exists(still));
    }

    void anAbandonedMovieTakesItsStillAlong() {
        MovieStill movieStill;
        movieStill.setNewestFrame(greyFrame());
        movieStill.movieOpened(true);
        movieStill.writeIfOwed(movie);
        movieStill.removeWritten();
        movieStill.queue().drain();
        QVERIFY(!QFile::exists(still));
    }

    // Only a still this movie wrote is removed; after the movie closed, and
    // for a movie that wrote none, nothing is.
    void onlyTheMoviesOwnStillIsRemoved() {
        QFile other(still);
        QVERIFY(other.open(QIODevice::WriteOnly));
        other.close();
        MovieStill movieStill;
        movieStill.movieOpened(true);
        movieStill.removeWritten();
        movieStill.setNewestFrame(greyFrame());
        movieStill.movieOpened(false);
        movieStill.writeIfOwed(movie);
        movieStill.movieClosed();
        movieStill.removeWritten();
        movieStill.queue().drain();
        QVERIFY(QFile::exists(still));
    }
};

QTEST_GUILESS_MAIN(tst_MovieStill)
#include "tst_MovieStill.moc"
