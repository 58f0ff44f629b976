#include "Defaults.h"
#include "MovieProbe.h"
#include "PreRollRecorder.h"
#include "RecorderFeed.h"
#include "SettingsKeys.h"
#include "StdoutCapture.h"
#include "TestMount.h"

#include <sys/stat.h>
#include <unistd.h>
#include <QDir>
#include <QFile>
#include <QImage>
#include <QImageReader>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>
#include <cstring>

class tst_PreRollRecorder : public QObject {
    Q_OBJECT

    RecorderMedia media_;
    const double frame_ = 1.0 / 30;
    const QDateTime now_ = QDateTime::fromMSecsSinceEpoch(1'800'000'000'000);

    struct Setup {
        QTemporaryDir dir;
        Defaults defaults{dir.filePath("Nelvo.conf")};
        explicit Setup(double preRoll) {
            defaults.set(SettingsKeys::preRollSeconds, preRoll);
            dir.setAutoRemove(!qEnvironmentVariableIsSet("NELVO_KEEP_MOVIES"));
        }
        QString path(const QString& name) const { return dir.filePath(name); }
    };

    std::unique_ptr<PreRollRecorder> recorder(Setup& setup) {
        return std::make_unique<PreRollRecorder>(setup.defaults, [this] { return now_; });
    }

    // What every movie must satisfy when read back independently.
    // A movie that cannot be created at `path` is reported with the errno as
    // its cause, and the next recording into a good place is whole.
    void checkCreationFailsThenRecordingGoesOn(Setup& setup, const QString& path, int errnoValue) {
        auto rec = recorder(setup);
        Finishes finishes;
        media_.feed(*rec, 0, 3);
        rec->start(path, finishes.completion());
        QVERIFY(finishes.waitFor(1));
        const auto call = finishes.calls()[0];
        QCOMPARE(call.path, path);
        QVERIFY(call.error.has_value());
        QCOMPARE(call.error->domain, Error::writerDomain);
        QCOMPARE(call.error->code, MovieWriter::creationFailedCode);
        QVERIFY(call.error->underlying);
        QCOMPARE(call.error->underlying->domain, Error::posixDomain);
        QCOMPARE(call.error->underlying->code, errnoValue);
        media_.feed(*rec, 3, 4);
        rec->start(setup.path("fine.mov"), finishes.completion());
        rec->stop();
        QVERIFY(finishes.waitFor(2));
        QVERIFY(!finishes.calls()[1].error);
        checkMovie(MovieProbe(setup.path("fine.mov")));
    }

    static mode_t modeOf(const QString& path) {
        struct stat info {};
        return ::stat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 07777 : 0;
    }

    // The first `seconds` of the media with every video frame carrying a
    // filler unit of `bytes` more: the same pictures at a far higher bit rate.
    static RecorderMedia padded(const RecorderMedia& media, double seconds, std::size_t bytes) {
        RecorderMedia heavy;
        for (const auto& sample : media.video) {
            if (RecorderMedia::at(sample) < seconds) {
                heavy.video.push_back(withFiller(sample, bytes));
            }
        }
        for (const auto& sample : media.audio) {
            if (RecorderMedia::at(sample) < seconds) {
                heavy.audio.push_back(sample);
            }
        }
        return heavy;
    }

    // Appends one filler-data unit (type 12) in the stream's length-prefixed form.
    static GstHandle<GstSample> withFiller(const GstHandle<GstSample>& sample, std::size_t bytes) {
        GstBuffer* in = gst_sample_get_buffer(sample.get());
        const gsize size = gst_buffer_get_size(in);
        GstBuffer* out = gst_buffer_new_allocate(nullptr, size + 4 + bytes, nullptr);
        gst_buffer_copy_into(out, in,
                             GstBufferCopyFlags(GST_BUFFER_COPY_FLAGS | GST_BUFFER_COPY_TIMESTAMPS),
                             0, static_cast<gsize>(-1));
        GstMapInfo map;
        gst_buffer_map(out, &map, GST_MAP_WRITE);
        gst_buffer_extract(in, 0, map.data, size);
        guint8* unit = map.data + size;
        // The unit's length, big-endian, a byte at a time: the unit need not
        // be aligned for a 32-bit store.
        for (int i = 0; i < 4; ++i) {
            unit[i] = static_cast<guint8>(bytes >> (8 * (3 - i)));
        }
        unit[4] = 0x0c;
        std::memset(unit + 5, 0xff, bytes - 2);
        unit[4 + bytes - 1] = 0x80;
        gst_buffer_unmap(out, &map);
        GstHandle<GstSample> result = GstHandle<GstSample>::adopt(
            gst_sample_new(out, gst_sample_get_caps(sample.get()), nullptr, nullptr));
        gst_buffer_unref(out);
        return result;
    }

    static void checkMovie(const MovieProbe& probe, bool withAudio = true) {
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec("video"), QStringLiteral("h264"));
        QCOMPARE(probe.codec("audio"), withAudio ? QStringLiteral("aac") : QString());
        QVERIFY(probe.firstFrameIsKeyframe());
        QVERIFY(probe.firstTime().has_value());
        QVERIFY(qAbs(*probe.firstTime()) < 1e-6);
        QVERIFY(probe.timestampsMonotonic());
    }

private Q_SLOTS:
    void initTestCase() {
        media_ = RecorderMedia::make(40);
        QVERIFY(media_.video.size() >= 1190);
        QVERIFY(!media_.audio.empty());
    }

    void preRollStartsAtTheNewestKeyframeAtOrBeforeTheTarget() {
        Setup setup(5);
        auto rec = recorder(setup);
        media_.feed(*rec, 0, 12);
        const double newest = 12 - frame_;
        const double expected = media_.keyframeAtOrBefore(newest - 5);
        QVERIFY(expected > 5 && expected <= newest - 5);
        QCOMPARE(rec->startDate(), now_.addMSecs(std::llround((expected - newest) * 1000)));

        Finishes finishes;
        const QString path = setup.path("pre-roll.mov");
        rec->start(path, finishes.completion());
        media_.feed(*rec, 12, 15);
        rec->stop();
        QVERIFY(finishes.waitFor(1));
        QCOMPARE(finishes.calls()[0].path, path);
        QVERIFY(!finishes.calls()[0].error);

        const MovieProbe probe(path);
        checkMovie(probe);
        // The first frame is the one captured at the chosen keyframe: the movie
        // holds exactly the frames from it on.
        QCOMPARE(probe.frameCount(), media_.videoFramesFrom(expected, 15));
        QVERIFY(qAbs(probe.videoSpan() - (15 - expected)) <= frame_ + 1e-3);
        QVERIFY(qAbs(probe.duration() - (15 - expected)) <= frame_ + 0.05);
        QCOMPARE(probe.channels(), 1);
        QCOMPARE(probe.sampleRate(), 48000);
    }

    void aPreRollOf45BehavesAs30() {
        // Forty seconds held: 30 s of pre-roll reach back to about 10 s, 45 s
        // would reach the oldest frame.
        Setup setup(45);
        auto rec = recorder(setup);
        media_.feed(*rec, 0, 40);
        const double newest = 40 - frame_;
        const double expected = media_.keyframeAtOrBefore(newest - 30);
        QVERIFY(expected >= 9);
        QCOMPARE(rec->startDate(), now_.addMSecs(std::llround((expected - newest) * 1000)));
        Setup thirty(30);
        auto other = recorder(thirty);
        media_.feed(*other, 0, 40);
        QCOMPARE(other->startDate(), rec->startDate());
        Finishes finishes;
        const QString path = setup.path("45.mov");
        rec->start(path, finishes.completion());
        rec->stop();
        QVERIFY(finishes.waitFor(1));
        QVERIFY(!finishes.calls()[0].error);
        const MovieProbe probe(path);
        checkMovie(probe);
        QCOMPARE(probe.frameCount(), media_.videoFramesFrom(expected, 40));
    }

    void aNegativePreRollBehavesAsZero() {
        Setup setup(-3);
        auto rec = recorder(setup);
        media_.feed(*rec, 0, 10.5);
        const double newest = media_.at(media_.video[314]);  // frame before 10.5 s
        const double expected = media_.keyframeAtOrBefore(newest);
        QCOMPARE(rec->startDate(), now_.addMSecs(std::llround((expected - newest) * 1000)));
        Finishes finishes;
        const QString path = setup.path("zero.mov");
        rec->start(path, finishes.completion());
        media_.feed(*rec, 10.5, 12);
        rec->stop();
        QVERIFY(finishes.waitFor(1));
        const MovieProbe probe(path);
        checkMovie(probe);
        QCOMPARE(probe.frameCount(), media_.videoFramesFrom(expected, 12));
        // As with 0, the audio ring keeps its 2 extra seconds, so the sound
        // reaches back to the movie's first frame.
        const double audioSeconds = probe.frameCount("audio") * 1024.0 / 48000;
        QVERIFY2(qAbs(audioSeconds - (12 - expected)) < 0.1,
                 qPrintable(QString::number(audioSeconds)));
    }

    void startWithEmptyRingsBeginsAtTheNextKeyframe() {
        Setup setup(5);
        auto rec = recorder(setup);
        QCOMPARE(rec->startDate(), now_);
        Finishes finishes;
        const QString path = setup.path("empty.mov");
        rec->start(path, finishes.completion());
        rec->queue().drain();
        QVERIFY(QFile::exists(path));  // opened at once
        media_.feed(*rec, 0.5, 4);     // begins mid-second: the first frames are not keyframes
        rec->stop();
        QVERIFY(finishes.waitFor(1));
        QVERIFY(!finishes.calls()[0].error);
        const double firstKeyframe = media_.keyframeAfter(0.5);
        const MovieProbe probe(path);
        checkMovie(probe);
        QCOMPARE(probe.frameCount(), media_.videoFramesFrom(firstKeyframe, 4));
    }

    void stopBeforeAnyKeyframeDeletesTheFileAndReportsAnError() {
        Setup setup(5);
        auto rec = recorder(setup);
        rec->setNewestFrame(EncodedStream::rawFrame(320, 240, "I420"));
        Finishes finishes;
        const QString path = setup.path("nothing.mov");
        rec->start(path, finishes.completion());
        rec->stop();
        QVERIFY(finishes.waitFor(1));
        const auto call = finishes.calls()[0];
        QCOMPARE(call.path, path);
        QVERIFY(call.error.has_value());
        QCOMPARE(call.error->domain, Error::writerDomain);
        QCOMPARE(call.error->code, MovieWriter::noDataCode);
        QVERIFY(!QFile::exists(path));
        QVERIFY(!QFile::exists(PreRollRecorder::stillPath(path)));
        // The recorder goes on: the next movie is written.
        const QString next = setup.path("next.mov");
        media_.feed(*rec, 0, 3);
        rec->start(next, finishes.completion());
        rec->stop();
        QVERIFY(finishes.waitFor(2));
        QVERIFY(!finishes.calls()[1].error);
        checkMovie(MovieProbe(next));
    }

    // The second roll opens nothing and is answered at once, so whoever asked
    // does not wait for a file that never comes.
    void aSecondRollBeforeTheNextKeyframeIsAnsweredAsDropped() {
        Setup setup(2);
        auto rec = recorder(setup);
        Finishes first;
        Finishes second;
        Finishes third;
        media_.feed(*rec, 0, 3.1);
        rec->start(setup.path("a.mov"), first.completion());
        rec->roll(setup.path("b.mov"), second.completion());
        rec->roll(setup.path("c.mov"), third.completion());
        media_.feed(*rec, 3.1, 6.1);
        rec->stop();
        QVERIFY(first.waitFor(1));
        QVERIFY(second.waitFor(1));
        QVERIFY(third.waitFor(1));
        QVERIFY(MovieRecorder::isRollDropped(third.calls()[0].error));
        QCOMPARE(third.calls()[0].path, setup.path("c.mov"));
        QVERIFY(!QFile::exists(setup.path("c.mov")));
        checkMovie(MovieProbe(setup.path("a.mov")));
        checkMovie(MovieProbe(setup.path("b.mov")));
    }

    void aStopWhileARollWaitsForItsKeyframeWinsOverTheRoll() {
        Setup setup(2);
        auto rec = recorder(setup);
        Finishes first;
        Finishes continuation;
        Finishes next;
        media_.feed(*rec, 0, 3.1);
        rec->start(setup.path("a.mov"), first.completion());
        rec->roll(setup.path("b.mov"), continuation.completion());
        media_.feed(*rec, 3.1, 3.9);  // no keyframe: the roll still waits
        rec->stop();
        media_.feed(*rec, 3.9, 5.1);
        QVERIFY(first.waitFor(1));
        QVERIFY(!first.calls()[0].error);
        checkMovie(MovieProbe(setup.path("a.mov")));
        // The continuation is never made, and it is answered as a roll with
        // nothing opened.
        QVERIFY(continuation.waitFor(1));
        QVERIFY(MovieRecorder::isRollDropped(continuation.calls()[0].error));
        rec->queue().drain();
        QVERIFY(!QFile::exists(setup.path("b.mov")));
        QVERIFY(!rec->hasOpenMovie());
        // The next trigger records.
        rec->start(setup.path("c.mov"), next.completion());
        media_.feed(*rec, 5.1, 7.1);
        rec->stop();
        QVERIFY(next.waitFor(1));
        QVERIFY(!next.calls()[0].error);
        checkMovie(MovieProbe(setup.path("c.mov")));
    }

    void aStartWhileTheStoppedMovieStillDrainsIsRecorded() {
        // Frames padded to 400 KB: the two seconds of pre-roll are more than
        // the writer takes at once, so the first movie is still draining
        // when the next start arrives.
        const RecorderMedia heavy = padded(media_, 7, 400 * 1024);
        Setup setup(2);
        auto rec = recorder(setup);
        Finishes first;
        Finishes second;
        heavy.feed(*rec, 0, 3.1);
        rec->start(setup.path("a.mov"), first.completion());
        rec->stop();
        rec->start(setup.path("b.mov"), second.completion());
        heavy.feed(*rec, 3.1, 6.1);
        rec->stop();
        QVERIFY(first.waitFor(1));
        QVERIFY(!first.calls()[0].error);
        QVERIFY(second.waitFor(1));
        QVERIFY(!second.calls()[0].error);
        const MovieProbe a(setup.path("a.mov"));
        const MovieProbe b(setup.path("b.mov"));
        checkMovie(a);
        checkMovie(b);
        // The second movie begins where the first ended, at the next keyframe.
        QCOMPARE(a.frameCount(), heavy.videoFramesFrom(1, 3.1));
        QCOMPARE(b.frameCount(), heavy.videoFramesFrom(heavy.keyframeAfter(3.1), 6.1));
    }

    void aStartWhileAMovieIsBeingRecordedIsAnsweredWithAnError() {
        Setup setup(2);
        auto rec = recorder(setup);
        Finishes first;
        Finishes second;
        media_.feed(*rec, 0, 3.1);
        rec->start(setup.path("a.mov"), first.completion());
        rec->start(setup.path("b.mov"), second.completion());
        QVERIFY(second.waitFor(1));
        QVERIFY(second.calls()[0].error.has_value());
        QCOMPARE(second.calls()[0].path, setup.path("b.mov"));
        QVERIFY(!QFile::exists(setup.path("b.mov")));
        media_.feed(*rec, 3.1, 4.1);
        rec->stop();
        QVERIFY(first.waitFor(1));
        QVERIFY(!first.calls()[0].error);
        checkMovie(MovieProbe(setup.path("a.mov")));
    }

    void backToBackRollsNeitherOverlapNorLeaveOutFrames() {
        Setup setup(3);
        auto rec = recorder(setup);
        Finishes finishes;
        media_.feed(*rec, 0, 5);
        const double start = media_.keyframeAtOrBefore(5 - frame_ - 3);
        rec->start(setup.path("1.mov"), finishes.completion());
        media_.feed(*rec, 5, 6.5);
        rec->roll(setup.path("2.mov"), finishes.completion());
        media_.feed(*rec, 6.5, 9.5);
        rec->roll(setup.path("3.mov"), finishes.completion());
        media_.feed(*rec, 9.5, 13);
        rec->stop();
        QVERIFY(finishes.waitFor(3));
        int total = 0;
        double previousEnd = start;
        for (const QString name : {"1.mov", "2.mov", "3.mov"}) {
            const MovieProbe probe(setup.path(name));
            checkMovie(probe);
            total += probe.frameCount();
            // Each file ends where the next begins: one keyframe interval apart.
            const double begins = previousEnd;
            previousEnd = begins + probe.videoSpan();
            QCOMPARE(probe.frameCount(), media_.videoFramesFrom(begins, previousEnd - frame_ / 2));
        }
        QCOMPARE(total, media_.videoFramesFrom(start, 13));
        QVERIFY(qAbs(previousEnd - 13) < 1e-3);
    }

    void audioOlderThanTheSessionStartIsNotWritten() {
        Setup setup(2);
        auto rec = recorder(setup);
        Finishes finishes;
        const QString path = setup.path("audio.mov");
        // Audio reaches back further than video in the ring; the file starts
        // at the video keyframe and holds no audio before it.
        media_.feed(*rec, 0, 4.5);
        const double start = media_.keyframeAtOrBefore(4.5 - frame_ - 2);
        rec->start(path, finishes.completion());
        rec->queue().drain();
        // Audio that arrives late with old times never reaches the file.
        for (int i = 0; i < 10; ++i) {
            rec->appendAudio(media_.audio[i]);
        }
        media_.feed(*rec, 4.5, 6);
        rec->stop();
        QVERIFY(finishes.waitFor(1));
        const MovieProbe probe(path);
        checkMovie(probe);
        QVERIFY(*probe.firstTime("audio") >= -0.03);  // encoder priming only
        const double audioSeconds = probe.frameCount("audio") * 1024.0 / 48000;
        QVERIFY2(audioSeconds < (6 - start) + 0.1, qPrintable(QString::number(audioSeconds)));
        QVERIFY(audioSeconds > (6 - start) - 0.2);
    }

    void audioBeforeTheFirstKeyframeOfAMovieWithVideoIsLeftOut() {
        Setup setup(0);
        auto rec = recorder(setup);
        Finishes finishes;
        const QString path = setup.path("late.mov");
        media_.feed(*rec, 0.1, 0.5);  // video but no keyframe yet: no start can be chosen
        rec->start(path, finishes.completion());
        rec->queue().drain();
        media_.feed(*rec, 0.5, 4);  // audio from 0.5 on arrives before the keyframe at 1.0
        rec->stop();
        QVERIFY(finishes.waitFor(1));
        const double keyframe = media_.keyframeAfter(0.5);
        const MovieProbe probe(path);
        checkMovie(probe);
        QCOMPARE(probe.frameCount(), media_.videoFramesFrom(keyframe, 4));
        const double audioSeconds = probe.frameCount("audio") * 1024.0 / 48000;
        QVERIFY2(audioSeconds < (4 - keyframe) + 0.1, qPrintable(QString::number(audioSeconds)));
    }

    void aFileWithAThreeSecondHoleIsRenamedButReportedUnderItsOpeningName() {
        Setup setup(0);
        auto rec = recorder(setup);
        Finishes finishes;
        const QString path = setup.path("2024-05-01 10.11.12 - Camera + Microphone.mov");
        media_.feed(*rec, 0, 1);
        rec->start(path, finishes.completion());
        media_.feed(*rec, 1, 3);
        media_.feed(*rec, 6, 9);  // video and audio lost between 3 and 6 s
        rec->stop();
        QVERIFY(finishes.waitFor(1));
        QCOMPARE(finishes.calls()[0].path, path);
        QVERIFY(!finishes.calls()[0].error);
        const QString renamed =
            setup.path("2024-05-01 10.11.12 - Camera + Microphone - 3s missing.mov");
        QVERIFY(!QFile::exists(path));
        QVERIFY(QFile::exists(renamed));
        const MovieProbe probe(renamed);
        checkMovie(probe);
        QCOMPARE(probe.frameCount(), media_.videoFramesFrom(0, 3) + media_.videoFramesFrom(6, 9));
    }

    void theStillIsTheNewestFrameAsAJpegBesideTheFirstFileOnly() {
        for (const char* format : {"I420", "NV12", "RGBx"}) {
            Setup setup(1);
            auto rec = recorder(setup);
            Finishes finishes;
            media_.feed(*rec, 0, 2);
            rec->setNewestFrame(EncodedStream::rawFrame(352, 288, format));
            const QString path = setup.path("still.mov");
            rec->start(path, finishes.completion());
            rec->roll(setup.path("still 2.mov"), finishes.completion());
            media_.feed(*rec, 2, 3.5);
            rec->stop();
            QVERIFY(finishes.waitFor(2));
            rec.reset();  // the still queue has finished its work
            QImageReader reader(PreRollRecorder::stillPath(path));
            QCOMPARE(reader.format(), QByteArray("jpeg"));
            QCOMPARE(reader.read().size(), QSize(352, 288));
            QVERIFY(!QFile::exists(PreRollRecorder::stillPath(setup.path("still 2.mov"))));
            QCOMPARE(
                QDir(setup.dir.path()).entryList({"*.tmp", ".*.jpg*"}, QDir::Files | QDir::Hidden),
                QStringList());
        }
    }

    // A movie started before the camera handed over any picture (just after
    // capture was set up again) still gets its still, from the first picture.
    void aStillOwedBeforeAnyPictureIsWrittenFromTheFirstOne() {
        Setup setup(1);
        auto rec = recorder(setup);
        Finishes finishes;
        media_.feed(*rec, 0, 2);
        const QString path = setup.path("late still.mov");
        rec->start(path, finishes.completion());
        media_.feed(*rec, 2, 2.5);
        rec->setNewestFrame(EncodedStream::rawFrame(320, 240, "I420"));
        media_.feed(*rec, 2.5, 3);
        rec->stop();
        QVERIFY(finishes.waitFor(1));
        QVERIFY(!finishes.calls()[0].error);
        rec.reset();  // the still queue has finished its work
        QImageReader reader(PreRollRecorder::stillPath(path));
        QCOMPARE(reader.format(), QByteArray("jpeg"));
        QCOMPARE(reader.read().size(), QSize(320, 240));
    }

    void moviesAndStillsAreOwnerOnlyWhateverTheUmask() {
        const mode_t saved = ::umask(0);
        Setup setup(1);
        auto rec = recorder(setup);
        Finishes finishes;
        const QString path = setup.path("private.mov");
        media_.feed(*rec, 0, 2);
        rec->setNewestFrame(EncodedStream::rawFrame(320, 240, "I420"));
        rec->start(path, finishes.completion());
        media_.feed(*rec, 2, 3);
        rec->stop();
        QVERIFY(finishes.waitFor(1));
        QVERIFY(!finishes.calls()[0].error);
        rec.reset();  // the still queue has finished its work
        ::umask(saved);
        checkMovie(MovieProbe(path));
        QCOMPARE(modeOf(path), mode_t(0600));
        QCOMPARE(modeOf(PreRollRecorder::stillPath(path)), mode_t(0600));
    }

    void aFileRenamedForFrameLossIsMadePrivateUnderItsNewName() {
        const mode_t saved = ::umask(022);
        Setup setup(0);
        auto rec = recorder(setup);
        Finishes finishes;
        const QString path = setup.path("2024-05-01 10.11.12 - Camera.mov");
        StdoutCapture printed;
        media_.feed(*rec, 0, 1);
        rec->start(path, finishes.completion());
        media_.feed(*rec, 1, 3);
        media_.feed(*rec, 6, 9);
        rec->stop();
        const bool finished = finishes.waitFor(1);
        rec.reset();
        ::umask(saved);
        const QString log = printed.take();
        QVERIFY(finished);
        const QString renamed = setup.path("2024-05-01 10.11.12 - Camera - 3s missing.mov");
        checkMovie(MovieProbe(renamed));
        QCOMPARE(modeOf(renamed), mode_t(0600));
        QVERIFY2(!log.contains(QStringLiteral("private to its owner")), qPrintable(log));
    }

    void aFrameThatCannotBeConvertedLeavesNoStillAndNoError() {
        Setup setup(1);
        auto rec = recorder(setup);
        Finishes finishes;
        media_.feed(*rec, 0, 2);
        rec->setNewestFrame(media_.video[0]);  // an encoded frame is no picture
        const QString path = setup.path("no still.mov");
        rec->start(path, finishes.completion());
        media_.feed(*rec, 2, 3);
        rec->stop();
        QVERIFY(finishes.waitFor(1));
        QVERIFY(!finishes.calls()[0].error);
        rec.reset();
        QVERIFY(!QFile::exists(PreRollRecorder::stillPath(path)));
    }

    void stereoAndMultichannelSourcesGiveStereoAac() {
        EncodedStream::AudioOptions options;
        options.channels = 4;
        options.rate = 44100;
        options.format = "F32LE";
        options.samplesPerBuffer = 441;
        const RecorderMedia media = RecorderMedia::make(3, options);
        Setup setup(5);
        auto rec = recorder(setup);
        Finishes finishes;
        media.feed(*rec, 0, 3);
        const QString path = setup.path("stereo.mov");
        rec->start(path, finishes.completion());
        rec->stop();
        QVERIFY(finishes.waitFor(1));
        const MovieProbe probe(path);
        checkMovie(probe);
        QCOMPARE(probe.channels(), 2);
        QCOMPARE(probe.sampleRate(), 44100);
        QCOMPARE(probe.frameCount(), 90);
    }

    void anAudioOnlyMovieStartsWithItsFirstAudioBuffer() {
        Setup setup(1);
        auto rec = recorder(setup);
        Finishes finishes;
        const QString path = setup.path("audio only.mov");
        media_.feed(*rec, 0, 1, false, false, true);
        rec->start(path, finishes.completion());
        media_.feed(*rec, 1, 3, false, false, true);
        rec->stop();
        QVERIFY(finishes.waitFor(1));
        QVERIFY(!finishes.calls()[0].error);
        const MovieProbe probe(path);
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec("audio"), QStringLiteral("aac"));
        QCOMPARE(probe.codec("video"), QString());
        QVERIFY(qAbs(probe.duration() - 3) < 0.1);
    }

    void resetForgetsTheRingsButNotTheOpenFile() {
        Setup setup(5);
        auto rec = recorder(setup);
        media_.feed(*rec, 0, 4);
        rec->reset();
        QCOMPARE(rec->startDate(), now_);
        Finishes finishes;
        const QString path = setup.path("after reset.mov");
        media_.feed(*rec, 4, 5);
        rec->start(path, finishes.completion());
        rec->reset();  // the open file goes on
        media_.feed(*rec, 5, 7);
        rec->stop();
        QVERIFY(finishes.waitFor(1));
        const MovieProbe probe(path);
        checkMovie(probe);
        QCOMPARE(probe.frameCount(), media_.videoFramesFrom(4, 7));
    }

    void anUnwritableDestinationIsReportedAsPermissionAndRecordingGoesOn() {
        if (::geteuid() == 0) {
            QSKIP("root ignores folder permissions; the unprivileged run checks this");
        }
        Setup setup(2);
        QDir(setup.dir.path()).mkdir("locked");
        QFile::setPermissions(setup.path("locked"), QFileDevice::ReadOwner | QFileDevice::ExeOwner);
        checkCreationFailsThenRecordingGoesOn(setup, setup.path("locked/movie.mov"), EACCES);
    }

    void aVanishedDestinationIsReportedAsMissingAndRecordingGoesOn() {
        Setup setup(2);
        QDir(setup.dir.path()).mkdir("gone");
        QDir(setup.path("gone")).removeRecursively();
        checkCreationFailsThenRecordingGoesOn(setup, setup.path("gone/movie.mov"), ENOENT);
    }

    // A file that fails while it is written (every write finds the disk full)
    // is reported at once, not when the recording is stopped, and the next
    // file is written.
    void aFileThatFailsWhileWrittenIsReportedAtOnce() {
        if (!TestMount::canMount()) {
            QSKIP("filling a small file system needs a mount");
        }
        QTemporaryDir full;
        TestMount mount;
        QVERIFY(mount.mountMemory("tmpfs", full.path(), "size=256k"));
        QFile filler(full.filePath("filler"));
        QVERIFY(filler.open(QIODevice::WriteOnly));
        const QByteArray block(4096, 'x');
        while (filler.write(block) == block.size() && filler.flush()) {
        }
        filler.close();
        Setup setup(2);
        auto rec = recorder(setup);
        Finishes finishes;
        const QString path = full.filePath("full.mov");
        media_.feed(*rec, 0, 3);
        rec->start(path, finishes.completion());
        media_.feed(*rec, 3, 6);
        QVERIFY(finishes.waitFor(1, std::chrono::seconds(10)));
        const auto call = finishes.calls()[0];
        QCOMPARE(call.path, path);
        QVERIFY(call.error.has_value());
        QCOMPARE(call.error->domain, Error::gstResourceDomain);
        QCOMPARE(call.error->code, static_cast<long long>(GST_RESOURCE_ERROR_NO_SPACE_LEFT));
        const QString next = setup.path("next.mov");
        rec->start(next, finishes.completion());
        media_.feed(*rec, 6, 9);
        rec->stop();
        QVERIFY(finishes.waitFor(2));
        QVERIFY(!finishes.calls()[1].error);
        checkMovie(MovieProbe(next));
    }

    void aRecordingKilledMidwayLeavesAReadableMovie() {
        QTemporaryDir dir;
        const QString path = dir.filePath("killed.mov");
        QProcess child;
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child.start(QCoreApplication::applicationDirPath() + "/recording_crash_child", {path});
        QVERIFY(child.waitForStarted());
        QVERIFY(child.waitForReadyRead(20000));
        QVERIFY(child.readLine().startsWith("recording"));
        QTest::qWait(7000);
        ::kill(static_cast<pid_t>(child.processId()), SIGKILL);
        QVERIFY(child.waitForFinished());
        QCOMPARE(child.exitStatus(), QProcess::CrashExit);
        const MovieProbe probe(path);
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec("video"), QStringLiteral("h264"));
        QVERIFY(probe.firstFrameIsKeyframe());
        QVERIFY(probe.timestampsMonotonic());
        QVERIFY2(probe.videoSpan() >= 4.0, qPrintable(QString::number(probe.videoSpan())));
    }
};

QTEST_GUILESS_MAIN(tst_PreRollRecorder)
#include "tst_PreRollRecorder.moc"
