#include "EncodedStream.h"
#include "MovieProbe.h"
#include "MovieWriter.h"
#include "SerialQueue.h"
#include "TestMount.h"

#include <sys/stat.h>

#include <QSemaphore>
#include <QTemporaryDir>
#include <QTest>
#include <cerrno>

// The movie writer on its own: tracks from the formats it is given, a file it
// opens itself, and a movie every player can open however the streams ended.
class tst_MovieWriter : public QObject {
    Q_OBJECT

    // Runs `work` on the writer's queue and waits for it.
    void onQueue(const std::function<void()>& work) { queue_.sync(work); }

    // Writes `seconds` of video, and audio when given, then finishes.
    std::optional<Error> write(const QString& path, double seconds, bool withAudioTrack,
                               bool withAudioSamples) {
        const auto video = EncodedStream::video(seconds);
        const auto audio = EncodedStream::audio(seconds);
        std::shared_ptr<MovieWriter> writer;
        std::optional<Error> outcome;
        QSemaphore finished;
        onQueue([&] {
            Error failure;
            writer = MovieWriter::create(path, queue_, &failure);
            QVERIFY(writer);
            QVERIFY(writer->begin(
                gst_sample_get_caps(video.front().get()),
                withAudioTrack ? gst_sample_get_caps(audio.front().get()) : nullptr, &failure));
            writer->startSession(0);
            for (const auto& sample : video) {
                QVERIFY(writer->appendVideo(sample.get()));
            }
            for (const auto& sample : audio) {
                if (withAudioSamples) {
                    QVERIFY(writer->appendAudio(sample.get()));
                }
            }
            writer->finish([&](std::optional<Error> error) {
                outcome = std::move(error);
                finished.release();
            });
        });
        if (!finished.tryAcquire(1, 20000)) {
            return Error{Error::writerDomain, 0, QStringLiteral("The writer never finished"),
                         nullptr};
        }
        onQueue([&] { writer.reset(); });
        return outcome;
    }

private Q_SLOTS:
    void initTestCase() { Gst::ensureInitialised(); }

    void videoAndSoundMakeAQuickTimeMovie() {
        const QString path = folder_.filePath("both.mov");
        const std::optional<Error> error = write(path, 2.0, true, true);
        QVERIFY2(!error, error ? qPrintable(error->description) : "");
        const MovieProbe probe(path);
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec("video"), QString("h264"));
        QCOMPARE(probe.codec("audio"), QString("aac"));
        QVERIFY(probe.firstFrameIsKeyframe());
        QCOMPARE(probe.frameCount(), 60);
        QCOMPARE(QFileInfo(path).permissions() & 0x0077, QFileDevice::Permissions());
    }

    // A microphone that delivered nothing after the movie began: the movie
    // still opens, with its video whole and a silent sound track.
    void aSoundTrackThatNeverGotASampleStillOpens() {
        const QString path = folder_.filePath("silent.mov");
        const std::optional<Error> error = write(path, 2.0, true, false);
        QVERIFY2(!error, error ? qPrintable(error->description) : "");
        const MovieProbe probe(path);
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec("video"), QString("h264"));
        QCOMPARE(probe.codec("audio"), QString("aac"));
        QCOMPARE(probe.frameCount(), 60);
        QVERIFY(probe.videoSpan() > 1.9);
    }

    void aFileThatCannotBeCreatedIsACreationError() {
        Error failure;
        std::shared_ptr<MovieWriter> writer;
        onQueue([&] {
            writer = MovieWriter::create(folder_.filePath("missing/movie.mov"), queue_, &failure);
        });
        QVERIFY(!writer);
        QCOMPARE(failure.domain, Error::writerDomain);
        QCOMPARE(failure.code, MovieWriter::creationFailedCode);
        QVERIFY(failure.underlying);
        QCOMPARE(failure.underlying->code, ENOENT);
    }

    // In a folder others can write, a link planted at the movie's name is
    // never followed: the file it points to keeps its contents and its mode.
    void aLinkAtTheNameIsNotFollowed() {
        QTemporaryDir elsewhere;
        const QString victim = elsewhere.filePath("notes.txt");
        QFile file(victim);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("the user's own notes\n");
        file.close();
        QCOMPARE(chmod(QFile::encodeName(victim).constData(), 0644), 0);
        for (const char* name : {"linked.mov", "dangling.mov"}) {
            const QString path = folder_.filePath(name);
            QVERIFY(QFile::link(
                name == QByteArray("linked.mov") ? victim : elsewhere.filePath("new.mov"), path));
            Error failure;
            std::shared_ptr<MovieWriter> writer;
            onQueue([&] { writer = MovieWriter::create(path, queue_, &failure); });
            QVERIFY(!writer);
            QCOMPARE(failure.code, MovieWriter::creationFailedCode);
            QVERIFY(failure.underlying);
            QCOMPARE(failure.underlying->code, EEXIST);
        }
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("the user's own notes\n"));
        struct stat info {};
        QCOMPARE(stat(QFile::encodeName(victim).constData(), &info), 0);
        QCOMPARE(info.st_mode & 07777, mode_t(0644));
        QVERIFY(!QFileInfo::exists(elsewhere.filePath("new.mov")));
    }

    // Private from the moment it exists, whatever the umask lets through.
    void aNewMovieIsItsOwnersAloneAtOnce() {
        const mode_t previous = umask(0);
        Error failure;
        std::shared_ptr<MovieWriter> writer;
        const QString path = folder_.filePath("private.mov");
        onQueue([&] { writer = MovieWriter::create(path, queue_, &failure); });
        umask(previous);
        QVERIFY(writer);
        struct stat info {};
        QCOMPARE(stat(QFile::encodeName(path).constData(), &info), 0);
        QCOMPARE(info.st_mode & 07777, mode_t(0600));
        onQueue([&] { writer.reset(); });
    }

    // A file whose writes fail (the disk is full) is reported the moment the
    // pipeline says so, with nobody finishing it, and takes no more samples.
    void aFailedFileIsReportedAtOnceAndRefusesSamples() {
        if (!TestMount::canMount()) {
            QSKIP("filling a small file system needs a mount");
        }
        QTemporaryDir mountPoint;
        TestMount mount;
        QVERIFY(mount.mountMemory("tmpfs", mountPoint.path(), "size=256k"));
        QFile filler(mountPoint.filePath("filler"));
        QVERIFY(filler.open(QIODevice::WriteOnly));
        const QByteArray block(4096, 'x');
        while (filler.write(block) == block.size() && filler.flush()) {
        }
        filler.close();
        const QString path = mountPoint.filePath("full.mov");
        const auto video = EncodedStream::video(2.0);
        std::shared_ptr<MovieWriter> writer;
        std::optional<Error> reported;
        QSemaphore failed;
        onQueue([&] {
            Error failure;
            writer = MovieWriter::create(path, queue_, &failure);
            QVERIFY(writer);
            writer->setFailureHandler([&](const Error& error) {
                reported = error;
                failed.release();
            });
            QVERIFY(writer->begin(gst_sample_get_caps(video.front().get()), nullptr, &failure));
            writer->startSession(0);
            for (const auto& sample : video) {
                QVERIFY(writer->appendVideo(sample.get()));
            }
        });
        QVERIFY(failed.tryAcquire(1, 10000));
        onQueue([&] {
            QCOMPARE(writer->status(), MovieWriter::Status::failed);
            QVERIFY(!writer->isReadyForVideo());
            QVERIFY(!writer->appendVideo(video.back().get()));
            writer.reset();
        });
        QVERIFY(reported.has_value());
        QCOMPARE(reported->domain, Error::gstResourceDomain);
        QCOMPARE(reported->code, static_cast<long long>(GST_RESOURCE_ERROR_NO_SPACE_LEFT));
        QVERIFY(reported->underlying);
        QCOMPARE(reported->underlying->code, static_cast<long long>(ENOSPC));
    }

private:
    QTemporaryDir folder_;
    SerialQueue queue_{"MovieWriter"};
};

QTEST_GUILESS_MAIN(tst_MovieWriter)
#include "tst_MovieWriter.moc"
