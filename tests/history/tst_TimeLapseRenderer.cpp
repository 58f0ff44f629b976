#include "MoviePictureReader.h"
#include "MovieProbe.h"
#include "StretchMovies.h"
#include "TimeLapseRenderer.h"
#include "TimeLapseWriter.h"

#include <sys/stat.h>
#include <unistd.h>
#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>
#include <cmath>

using TimeLapse::Failure;
using TimeLapse::Frame;
using TimeLapse::Source;

namespace {

const QTimeZone local = QTimeZone::systemTimeZone();
const QLocale english(QLocale::English, QLocale::UnitedStates);

QDateTime at(int day, int hour, int minute, int second = 0) {
    return QDateTime(QDate(2024, 5, day), QTime(hour, minute, second), local);
}

int ceilingHalf(double seconds) {
    return static_cast<int>(std::ceil(seconds / 2 - 1e-9));
}

// A movie made by ffmpeg (not by Nelvo): `seconds` of a test picture at 10
// pictures a second, a keyframe every second, its index at the front.
bool ffmpegMovie(const QString& path, int width, int height, double seconds) {
    return QProcess::execute("ffmpeg", {"-v",
                                        "error",
                                        "-y",
                                        "-f",
                                        "lavfi",
                                        "-i",
                                        QStringLiteral("testsrc=size=%1x%2:rate=10:duration=%3")
                                            .arg(width)
                                            .arg(height)
                                            .arg(seconds),
                                        "-c:v",
                                        "libx264",
                                        "-preset",
                                        "ultrafast",
                                        "-g",
                                        "10",
                                        "-pix_fmt",
                                        "yuv420p",
                                        "-use_editlist",
                                        "0",
                                        "-movflags",
                                        "+faststart",
                                        path}) == 0;
}

// Writes `value` into the 32-bit duration of every box of this kind (all
// version 0 here), `offset` bytes after its type.
void claimDuration(QByteArray& movie, const QByteArray& box, int offset, quint32 value) {
    for (qsizetype at = movie.indexOf(box); at >= 0; at = movie.indexOf(box, at + 4)) {
        QCOMPARE(int(movie[at + 4]), 0);
        for (int i = 0; i < 4; ++i) {
            movie[at + offset + i] = char((value >> (8 * (3 - i))) & 0xff);
        }
    }
}

mode_t modeOf(const QString& path) {
    struct stat info {};
    return lstat(QFile::encodeName(path).constData(), &info) == 0 ? info.st_mode & 07777 : 0;
}

// Everything in a folder, hidden files included.
QStringList contents(const QString& folder) {
    return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::NoDotAndDotDot,
                                  QDir::Name);
}

}  // namespace

class tst_TimeLapseRenderer : public QObject {
    Q_OBJECT

    std::unique_ptr<StretchMovies> movies_;

    struct Rendered {
        TimeLapseRenderer::Outcome outcome;
        std::vector<double> progress;
    };

    static Rendered render(const QString& folder, const ArmedStretch& stretch,
                           const QString& destination = {}) {
        Rendered rendered;
        const TimeLapseRenderer::Request request{
            stretch, StretchMovies::eventsIn(folder, stretch.from, stretch.to),
            destination.isEmpty() ? folder : destination, local, english};
        rendered.outcome = TimeLapseRenderer::render(
            request, [&](double fraction) { rendered.progress.push_back(fraction); });
        return rendered;
    }

    static void checkTimeLapse(const QString& path, int pictures) {
        const MovieProbe probe(path);
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec("video"), QStringLiteral("h264"));
        QCOMPARE(probe.frameCount(), pictures);
        const QList<double> times = probe.times();
        for (int i = 0; i < times.size(); ++i) {
            QVERIFY2(qAbs(times[i] - i * 0.25) < 1e-6, qPrintable(QString::number(times[i])));
        }
        QVERIFY2(qAbs(probe.duration() - pictures * 0.25) < 1e-3,
                 qPrintable(QString::number(probe.duration())));
        QFile::Permissions expected = QFile::ReadOwner | QFile::WriteOwner;
        QCOMPARE(QFile(path).permissions() & ~(QFile::ReadUser | QFile::WriteUser), expected);
    }

    // The label box darkens the lower-left corner to 0.4 of the picture and
    // nothing else: the other corners and the area above it are untouched.
    static void checkLabelBox(const QImage& output, const QImage& source) {
        const int w = output.width();
        const int h = output.height();
        const QRect corner(0, h - 6, 8, 6);  // inside the box, below and before the text
        const QRect rightCorner(w - 8, h - 6, 8, 6);
        const QRect above(0, h - 60, 8, 6);
        const double sourceCorner = StretchMovies::meanGrey(source, corner);
        QVERIFY(sourceCorner > 100);
        QVERIFY2(qAbs(StretchMovies::meanGrey(output, corner) - 0.4 * sourceCorner) < 8,
                 qPrintable(QString::number(StretchMovies::meanGrey(output, corner))));
        QVERIFY(qAbs(StretchMovies::meanGrey(output, rightCorner) -
                     StretchMovies::meanGrey(source, rightCorner)) < 8);
        QVERIFY(qAbs(StretchMovies::meanGrey(output, above) -
                     StretchMovies::meanGrey(source, above)) < 8);
    }

    // How far the box reaches along the bottom row under the text.
    static int boxWidth(const QImage& output, const QImage& source) {
        const int y = output.height() - 3;
        int x = 0;
        while (x < output.width() && qGray(output.pixel(x, y)) < 0.7 * qGray(source.pixel(x, y))) {
            ++x;
        }
        return x;
    }

private Q_SLOTS:
    void initTestCase() { movies_ = std::make_unique<StretchMovies>(StretchMovies::Options{}); }

    void theNameHasFullDatesOnlyAcrossMidnight() {
        QCOMPARE(TimeLapseRenderer::outputName({at(1, 22, 15), at(2, 1, 40)}, local),
                 QStringLiteral("What happened 2024-05-01 22.15 to 2024-05-02 01.40.mov"));
        QCOMPARE(TimeLapseRenderer::outputName({at(1, 9, 0), at(1, 17, 30)}, local),
                 QStringLiteral("What happened 2024-05-01 09.00 to 17.30.mov"));
        // The day is the zone's: 23:30 UTC is the next day in Berlin.
        const QTimeZone berlin("Europe/Berlin");
        const QDateTime utc(QDate(2024, 5, 1), QTime(21, 0), QTimeZone::utc());
        QCOMPARE(TimeLapseRenderer::outputName({utc, utc.addSecs(2 * 3600 + 1800)}, berlin),
                 QStringLiteral("What happened 2024-05-01 23.00 to 2024-05-02 01.30.mov"));
    }

    void theWorkFileIsHiddenAndNew() {
        const QString name = TimeLapseRenderer::workFileName();
        QVERIFY(name.startsWith(u'.'));
        QVERIFY(name.endsWith(QStringLiteral(".mov")));
        QCOMPARE(name.size(), 1 + 36 + 4);
        QVERIFY(name != TimeLapseRenderer::workFileName());
    }

    void theFontFollowsTheCanvasHeight() {
        QCOMPARE(TimeLapseRenderer::fontSize(1080), 30);
        QCOMPARE(TimeLapseRenderer::fontSize(720), 20);
        QCOMPARE(TimeLapseRenderer::fontSize(300), 12);
        QCOMPARE(TimeLapseRenderer::fontSize(100), 12);
    }

    void aFourByThreePictureIsPillarBoxedOnAWideCanvas() {
        QCOMPARE(TimeLapseRenderer::fitRect(640, 480, 1920, 1080), QRect(240, 0, 1440, 1080));
        QCOMPARE(TimeLapseRenderer::fitRect(1920, 1080, 640, 480), QRect(0, 60, 640, 360));
        QCOMPARE(TimeLapseRenderer::fitRect(0, 480, 1920, 1080), QRect(0, 0, 0, 0));
        QCOMPARE(TimeLapseRenderer::fitRect(640, 480, 1920, -1), QRect(0, 0, 0, 0));

        QImage picture(640, 480, QImage::Format_RGB32);
        picture.fill(Qt::white);
        QImage canvas(1920, 1080, QImage::Format_ARGB32_Premultiplied);
        canvas.fill(Qt::red);
        QPainter painter(&canvas);
        TimeLapseRenderer::drawFrame(&picture, QStringLiteral("22:15:02"), painter, 1920, 1080);
        painter.end();
        for (int y : {0, 540, 1079}) {
            QCOMPARE(canvas.pixel(239, y), qRgb(0, 0, 0));
            QCOMPARE(canvas.pixel(240, y == 1079 ? 0 : y), qRgb(255, 255, 255));
            QCOMPARE(canvas.pixel(1679, y), qRgb(255, 255, 255));
            QCOMPARE(canvas.pixel(1680, y), qRgb(0, 0, 0));
            QCOMPARE(canvas.pixel(1919, y), qRgb(0, 0, 0));
        }
    }

    void theLabelBoxSitsInTheLowerLeftCorner() {
        QImage picture(1920, 1080, QImage::Format_RGB32);
        picture.fill(Qt::white);
        QImage canvas(1920, 1080, QImage::Format_ARGB32_Premultiplied);
        QPainter painter(&canvas);
        TimeLapseRenderer::drawFrame(&picture, QStringLiteral("22:15:02"), painter, 1920, 1080);
        painter.end();
        // White under black at 0.6 is 102.
        QVERIFY(qAbs(qGray(canvas.pixel(2, 1077)) - 102) <= 1);
        QCOMPARE(canvas.pixel(1917, 1077), qRgb(255, 255, 255));
        QCOMPARE(canvas.pixel(2, 2), qRgb(255, 255, 255));
        // Height: twice the 15-pixel padding and the 30-pixel font's line.
        int height = 0;
        while (qGray(canvas.pixel(2, 1079 - height)) < 200) {
            ++height;
        }
        QVERIFY2(height >= 30 + 30 && height <= 30 + 45, qPrintable(QString::number(height)));
        // Width: three paddings and the text; white text inside it.
        int width = 0;
        while (qGray(canvas.pixel(width, 1078)) < 200) {
            ++width;
        }
        QVERIFY2(width > 45 + 80 && width < 45 + 250, qPrintable(QString::number(width)));
        int bright = 0;
        for (int y = 1079 - height; y < 1080; ++y) {
            for (int x = 0; x < width; ++x) {
                bright += qGray(canvas.pixel(x, y)) > 200 ? 1 : 0;
            }
        }
        QVERIFY(bright > 100);
    }

    void labelsCarryTheCameraOnlyWithSeveralCameras() {
        const Frame frame{Source::movie("/r/a.mov", 2), at(1, 22, 15, 2), "Front Door"};
        QCOMPARE(TimeLapseRenderer::label(frame, false, local, english),
                 QStringLiteral("22:15:02"));
        QCOMPARE(TimeLapseRenderer::label(frame, true, local, english),
                 QStringLiteral("22:15:02 \u00B7 Front Door"));
        const Frame unnamed{Source::still("/r/a.jpg"), at(1, 9, 5, 7), std::nullopt};
        QCOMPARE(TimeLapseRenderer::label(unnamed, true, local, english),
                 QStringLiteral("09:05:07"));
        QCOMPARE(TimeLapseRenderer::label(frame, false, local, QLocale(QLocale::German)),
                 QStringLiteral("22:15:02"));
        QCOMPARE(TimeLapseRenderer::timePattern(english), QStringLiteral("HH:mm:ss"));
        const QTimeZone tokyo("Asia/Tokyo");
        QCOMPARE(TimeLapseRenderer::label(frame, false, tokyo, english),
                 frame.time.toTimeZone(tokyo).toString(QStringLiteral("HH:mm:ss")));
    }

    void oneCameraGivesFortyPicturesAtFourASecond() {
        QTemporaryDir dir;
        // Two recordings of 37 s, each a still and pictures at 0, 2, ... 36 s.
        QVERIFY(movies_->record(dir.path(), at(1, 22, 15), "Front Door", "Desk Mic", 37));
        const auto second =
            movies_->record(dir.path(), at(1, 22, 20), "Front Door", "Desk Mic", 37);
        QVERIFY(second);
        const QStringList before = contents(dir.path());
        const Rendered rendered = render(dir.path(), {at(1, 22, 14), at(1, 22, 30)});
        QVERIFY(!rendered.outcome.failure);
        QCOMPARE(rendered.outcome.path,
                 dir.filePath("What happened 2024-05-01 22.14 to 22.30.mov"));
        checkTimeLapse(rendered.outcome.path, 40);
        const MovieProbe probe(rendered.outcome.path);
        QCOMPARE(probe.width(), 320);
        QCOMPARE(probe.height(), 240);
        QCOMPARE(contents(dir.path()),
                 before + QStringList{"What happened 2024-05-01 22.14 to 22.30.mov"});
        QVERIFY(std::is_sorted(rendered.progress.begin(), rendered.progress.end()));
        QCOMPARE(rendered.progress.back(), 1.0);

        // Picture 22 is the second movie's picture at 2 s (after 20 from the
        // first movie and the second movie's still and picture at 0).
        const QImage output = StretchMovies::frameNumber(rendered.outcome.path, 22);
        const QImage source = StretchMovies::pictureAt(*second, 2);
        const QImage later = StretchMovies::pictureAt(*second, 6);
        QCOMPARE(output.size(), QSize(320, 240));
        QCOMPARE(source.size(), QSize(320, 240));
        const QRect aboveTheBox(0, 0, 320, 200);
        const double same = StretchMovies::differingShare(output, source, aboveTheBox);
        const double other = StretchMovies::differingShare(output, later, aboveTheBox);
        QVERIFY2(same < 0.002 && other > 0.01,
                 qPrintable(QStringLiteral("%1 %2").arg(same).arg(other)));
        checkLabelBox(output, source);
    }

    void twoCamerasInterleaveAndNameTheCameras() {
        QTemporaryDir dir;
        const auto front = movies_->record(dir.path(), at(1, 23, 0), "Front Door", "Desk Mic", 9);
        const auto yard = movies_->record(dir.path(), at(1, 23, 0), "Yard", std::nullopt, 9);
        QVERIFY(front && yard);
        const Rendered rendered = render(dir.path(), {at(1, 22, 59), at(1, 23, 5)});
        QVERIFY(!rendered.outcome.failure);
        // Two stills, then five pictures from each movie, side by side.
        checkTimeLapse(rendered.outcome.path, 12);
        // The front door's still and picture at 0 s, then the yard's.
        const QImage output = StretchMovies::frameNumber(rendered.outcome.path, 3);
        const QImage source = StretchMovies::pictureAt(*yard, 0);
        QVERIFY(StretchMovies::differingShare(output, source, QRect(0, 0, 320, 200)) < 0.002);
        checkLabelBox(output, source);
        // "23:00:00 · Yard" needs a wider box than the time alone.
        QImage timeOnly(source.size(), QImage::Format_ARGB32_Premultiplied);
        QPainter painter(&timeOnly);
        TimeLapseRenderer::drawFrame(&source, QStringLiteral("23:00:00"), painter, source.width(),
                                     source.height());
        painter.end();
        const int alone = boxWidth(timeOnly, source);
        QVERIFY(alone > 40);
        QVERIFY2(boxWidth(output, source) > alone + 20,
                 qPrintable(QStringLiteral("%1 %2").arg(boxWidth(output, source)).arg(alone)));
    }

    void frameLossInTheNameAndADeletedStill() {
        QTemporaryDir dir;
        const auto lossy = movies_->record(dir.path(), at(1, 3, 0), "Porch", "Mic", 11, 4, 8);
        QVERIFY(lossy);
        QCOMPARE(QFileInfo(*lossy).fileName(),
                 QStringLiteral("2024-05-01 03.00.00 - Porch + Mic - 4s missing.mov"));
        QVERIFY(QFile::exists(*lossy));
        const auto stillless = movies_->record(dir.path(), at(1, 3, 5), "Porch", "Mic", 7);
        QVERIFY(stillless);
        QVERIFY(QFile::remove(QString(*stillless).replace(".mov", ".jpg")));
        const Rendered rendered = render(dir.path(), {at(1, 2, 0), at(1, 4, 0)});
        QVERIFY(!rendered.outcome.failure);
        // The still of the marked movie keeps the name it was opened under,
        // which is not the movie's any more: both give movie pictures only.
        const int pictures = ceilingHalf(MovieProbe(*lossy).duration()) +
                             ceilingHalf(MovieProbe(*stillless).duration());
        QCOMPARE(pictures, 6 + 4);
        checkTimeLapse(rendered.outcome.path, pictures);
        const QImage output = StretchMovies::frameNumber(rendered.outcome.path, 1);
        const QImage source = StretchMovies::pictureAt(*lossy, 2);
        QVERIFY(StretchMovies::differingShare(output, source, QRect(0, 0, 320, 200)) < 0.002);
    }

    void aStretchAcrossMidnightIsNamedWithBothDates() {
        QTemporaryDir dir;
        QVERIFY(movies_->record(dir.path(), at(1, 23, 50), "Front Door", "Desk Mic", 3));
        const Rendered rendered = render(dir.path(), {at(1, 22, 15), at(2, 1, 40)});
        QVERIFY(!rendered.outcome.failure);
        QCOMPARE(QFileInfo(rendered.outcome.path).fileName(),
                 QStringLiteral("What happened 2024-05-01 22.15 to 2024-05-02 01.40.mov"));
        checkTimeLapse(rendered.outcome.path, 1 + 2);
    }

    void aStretchOfUnreadableFilesLeavesNothingBehind() {
        QTemporaryDir dir;
        const auto good = movies_->record(dir.path(), at(1, 10, 0), "Cam", "Mic", 5);
        QVERIFY(good);
        // A movie cut short to its first kilobyte, its still too.
        QFile truncated(*good);
        QVERIFY(truncated.resize(1024));
        QFile still(QString(*good).replace(".mov", ".jpg"));
        QVERIFY(still.resize(100));
        // An empty movie, and text and a picture that only look like a movie.
        for (const char* name :
             {"2024-05-01 10.01.00 - Cam + Mic.mov", "2024-05-01 10.02.00 - Cam + Mic.mov",
              "2024-05-01 10.02.00 - Cam + Mic.jpg"}) {
            QFile file(dir.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
        }
        QFile text(dir.filePath("2024-05-01 10.02.00 - Cam + Mic.mov"));
        QVERIFY(text.open(QIODevice::WriteOnly));
        text.write(QByteArray("not a movie\n").repeated(1000));
        text.close();
        const QStringList before = contents(dir.path());
        const Rendered rendered = render(dir.path(), {at(1, 9, 0), at(1, 11, 0)});
        QVERIFY(rendered.outcome.failure);
        QCOMPARE(*rendered.outcome.failure, Failure::nothingReadable());
        QVERIFY(rendered.outcome.path.isEmpty());
        QCOMPARE(contents(dir.path()), before);
    }

    // A movie whose header claims weeks is read only for as long as its name
    // and the stretch allow.
    void aHeaderClaimingWeeksIsNotBelieved() {
        QTemporaryDir dir;
        const QString path = dir.filePath("2024-05-01 10.00.00 - Cam + Mic.mov");
        QVERIFY(ffmpegMovie(path, 160, 120, 4));
        QFile file(path);
        QVERIFY(file.open(QIODevice::ReadWrite));
        QByteArray movie = file.readAll();
        claimDuration(movie, "mvhd", 20, 0x7fffffff);
        claimDuration(movie, "tkhd", 24, 0x7fffffff);
        claimDuration(movie, "mdhd", 20, 0x7fffffff);
        QVERIFY(file.seek(0));
        QCOMPARE(file.write(movie), movie.size());
        file.close();
        QVERIFY(MoviePictureReader::duration(path).value_or(0) > 1e5);

        const Rendered rendered = render(dir.path(), {at(1, 9, 59), at(1, 10, 1)});
        QVERIFY(!rendered.outcome.failure);
        // Pictures at 0 and 2 s; the one at 4 s is past the movie's end.
        checkTimeLapse(rendered.outcome.path, 2);
        // No more than the pictures the stretch allows were even tried.
        QVERIFY2(rendered.progress.size() <= 1 + (60 + 120) / 2 + 1,
                 qPrintable(QString::number(rendered.progress.size())));
    }

    // Cut in half after the header that claims all of it.
    void aTruncatedMovieGivesWhatItHas() {
        QTemporaryDir dir;
        const QString path = dir.filePath("2024-05-01 10.00.00 - Cam + Mic.mov");
        QVERIFY(ffmpegMovie(path, 160, 120, 9));
        QFile file(path);
        QVERIFY(file.resize(file.size() / 2));
        const Rendered rendered = render(dir.path(), {at(1, 9, 59), at(1, 10, 1)});
        QVERIFY(!rendered.outcome.failure);
        const MovieProbe probe(rendered.outcome.path);
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QVERIFY2(probe.frameCount() >= 1 && probe.frameCount() <= 3,
                 qPrintable(QString::number(probe.frameCount())));
    }

    // Pictures too large to hold are not read from movies, and stills are
    // scaled down to the largest size as they are read.
    void hugePicturesAreNotHeldWhole() {
        QTemporaryDir dir;
        const QString huge = dir.filePath("2024-05-01 10.00.00 - Cam + Mic.mov");
        QVERIFY(ffmpegMovie(huge, 16384, 16000, 0.1));
        QCOMPARE(MovieProbe(huge).width(), 16384);
        const Rendered nothing = render(dir.path(), {at(1, 9, 59), at(1, 10, 1)});
        QVERIFY(nothing.outcome.failure);
        QCOMPARE(*nothing.outcome.failure, Failure::nothingReadable());
        QCOMPARE(contents(dir.path()), QStringList{QFileInfo(huge).fileName()});

        QImage still(6000, 4000, QImage::Format_RGB32);
        still.fill(Qt::gray);
        QVERIFY(still.save(dir.filePath("2024-05-01 10.00.00 - Cam + Mic.jpg"), "JPEG"));
        const Rendered scaled = render(dir.path(), {at(1, 9, 59), at(1, 10, 1)});
        QVERIFY(!scaled.outcome.failure);
        const MovieProbe probe(scaled.outcome.path);
        QCOMPARE(probe.frameCount(), 1);
        QCOMPARE(probe.width(), 4096);
        QVERIFY2(probe.height() >= 2730 && probe.height() <= 2732,
                 qPrintable(QString::number(probe.height())));
    }

    void aRenderStopsWhenCancelledAndLeavesNothing() {
        QTemporaryDir dir;
        QVERIFY(movies_->record(dir.path(), at(1, 10, 0), "Cam", "Mic", 37));
        const QStringList before = contents(dir.path());
        TimeLapseRenderer::Cancel cancel{false};
        int reports = 0;
        const TimeLapseRenderer::Request request{
            {at(1, 9, 59), at(1, 10, 5)},
            StretchMovies::eventsIn(dir.path(), at(1, 9, 59), at(1, 10, 5)),
            dir.path(),
            local,
            english};
        // Cancelled once a few pictures are in the movie.
        const TimeLapseRenderer::Outcome outcome = TimeLapseRenderer::render(
            request,
            [&](double) {
                if (++reports == 5) {
                    cancel = true;
                }
            },
            &cancel);
        QVERIFY(outcome.cancelled);
        QVERIFY(!outcome.failure);
        QVERIFY(outcome.path.isEmpty());
        QCOMPARE(reports, 5);
        QCOMPARE(contents(dir.path()), before);
    }

    // Others may write in the folder: the work file is new and private from
    // the start, and a link planted at the movie's name is replaced, never
    // followed.
    void filesAreCreatedNewAndPrivate() {
        QTemporaryDir dir;
        QTemporaryDir elsewhere;
        const QString work = dir.filePath(TimeLapseRenderer::workFileName());
        const mode_t previous = umask(0);
        {
            TimeLapseWriter writer;
            QVERIFY(writer.open(work, QSize(64, 48)));
            QCOMPARE(modeOf(work), mode_t(0600));
        }
        umask(previous);

        const QString victim = elsewhere.filePath("notes.txt");
        QFile file(victim);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write("the user's own notes");
        file.close();
        QCOMPARE(::chmod(QFile::encodeName(victim).constData(), 0644), 0);
        const QString planted = dir.filePath("planted.mov");
        QVERIFY(QFile::link(victim, planted));
        {
            TimeLapseWriter writer;
            QVERIFY(!writer.open(planted, QSize(64, 48)));
        }
        QVERIFY(QFile::remove(work));
        QVERIFY(QFile::remove(planted));

        QVERIFY(movies_->record(dir.path(), at(1, 10, 0), "Cam", "Mic", 3));
        const QString output = dir.filePath("What happened 2024-05-01 09.59 to 10.01.mov");
        QVERIFY(QFile::link(victim, output));
        const Rendered rendered = render(dir.path(), {at(1, 9, 59), at(1, 10, 1)});
        QVERIFY(!rendered.outcome.failure);
        QCOMPARE(rendered.outcome.path, output);
        QVERIFY(!QFileInfo(output).isSymLink());
        QCOMPARE(modeOf(output), mode_t(0600));
        QVERIFY(file.open(QIODevice::ReadOnly));
        QCOMPARE(file.readAll(), QByteArray("the user's own notes"));
        QCOMPARE(modeOf(victim), mode_t(0644));
    }

    void aMissingDestinationCannotBeWritten() {
        QTemporaryDir dir;
        QVERIFY(movies_->record(dir.path(), at(1, 10, 0), "Cam", "Mic", 3));
        const QString missing = dir.filePath("gone/Time-lapses");
        const Rendered rendered = render(dir.path(), {at(1, 9, 0), at(1, 11, 0)}, missing);
        QVERIFY(rendered.outcome.failure);
        QCOMPARE(*rendered.outcome.failure,
                 Failure::couldNotWrite("couldn't open a movie file in Time-lapses"));
        QVERIFY(!QFileInfo::exists(missing));
    }

    // Run again as a plain user, for whom permissions count.
    void aReadOnlyDestinationCannotBeWritten() {
        QTemporaryDir dir;
        QVERIFY(movies_->record(dir.path(), at(1, 10, 0), "Cam", "Mic", 3));
        QTemporaryDir destination;
        QVERIFY(QDir(destination.path()).mkdir("Locked"));
        const QString locked = destination.filePath("Locked");
        QVERIFY(::chmod(QFile::encodeName(locked).constData(), 0500) == 0);
        const Rendered rendered = render(dir.path(), {at(1, 9, 0), at(1, 11, 0)}, locked);
        ::chmod(QFile::encodeName(locked).constData(), 0700);
        if (::geteuid() == 0) {
            QVERIFY(!rendered.outcome.failure);  // root writes anyway
            return;
        }
        QVERIFY(rendered.outcome.failure);
        QCOMPARE(*rendered.outcome.failure,
                 Failure::couldNotWrite("couldn't open a movie file in Locked"));
        QCOMPARE(contents(locked), QStringList());
    }
};

QTEST_MAIN(tst_TimeLapseRenderer)
#include "tst_TimeLapseRenderer.moc"
