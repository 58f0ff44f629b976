#include "TimeLapseRenderer.h"

#include "MoviePictureReader.h"
#include "TimeLapseWriter.h"

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFontDatabase>
#include <QFontMetricsF>
#include <QHash>
#include <QImageReader>
#include <QUuid>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <memory>
#include <unordered_map>

namespace TimeLapseRenderer {

namespace {

using TimeLapse::Failure;
using TimeLapse::Frame;
using TimeLapse::Source;

// Part of the progress spent on loading durations, before the pictures.
constexpr double durationShare = 0.05;

// Every movie of the events, once each, in event order.
QStringList moviesOf(const std::vector<Event>& events) {
    QStringList movies;
    for (const Event& event : events) {
        for (const QString& file : event.files) {
            if (QFileInfo(file).suffix().toLower() == QStringLiteral("mov") &&
                !movies.contains(file)) {
                movies.append(file);
            }
        }
    }
    return movies;
}

// Reads the frames' pictures in playing order. A movie stays open from its
// first picture to its last one, so two cameras' movies of one trigger are
// read side by side while every movie is opened once.
class FramePictures {
public:
    explicit FramePictures(const std::vector<Frame>& frames) : frames_(frames) {
        for (std::size_t i = 0; i < frames.size(); ++i) {
            if (frames[i].source.kind == Source::Kind::movie) {
                lastUse_[frames[i].source.url] = i;
            }
        }
    }

    // A null image when the picture cannot be read.
    QImage read(std::size_t index) {
        const Source& source = frames_[index].source;
        if (source.kind == Source::Kind::still) {
            QImageReader reader(source.url);
            const QSize size = reader.size();
            const int largest = MoviePictureReader::largestSide;
            if (size.width() > largest || size.height() > largest) {
                reader.setScaledSize(size.scaled(largest, largest, Qt::KeepAspectRatio));
            }
            return reader.read();
        }
        std::unique_ptr<MoviePictureReader>& reader = readers_[source.url];
        if (!reader) {
            reader = std::make_unique<MoviePictureReader>(source.url);
        }
        QImage picture = reader->pictureAt(source.offset);
        if (lastUse_.value(source.url) == index) {
            readers_.erase(source.url);
        }
        return picture;
    }

private:
    const std::vector<Frame>& frames_;
    QHash<QString, std::size_t> lastUse_;
    std::unordered_map<QString, std::unique_ptr<MoviePictureReader>> readers_;
};

// H.264 in 4:2:0 wants even sides; an odd side grows by one black line.
QSize canvasFor(const QSize& picture) {
    return {picture.width() + picture.width() % 2, picture.height() + picture.height() % 2};
}

// Gives the work file the output name, in place of whatever had it (a link
// there is replaced, never followed); why not, when it cannot.
std::optional<QString> moveIntoPlace(const QString& workPath, const QString& outputPath) {
    if (std::rename(QFile::encodeName(workPath).constData(),
                    QFile::encodeName(outputPath).constData()) != 0) {
        return qt_error_string(errno);
    }
    return std::nullopt;
}

QFont labelFont(int size) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    if (font.family().isEmpty()) {
        font = QFont(QStringLiteral("Helvetica"));
    }
    font.setPixelSize(size);
    return font;
}

}  // namespace

QString outputName(const ArmedStretch& stretch, const QTimeZone& zone) {
    const QDateTime from = stretch.from.toTimeZone(zone);
    const QDateTime to = stretch.to.toTimeZone(zone);
    const QLocale posix = QLocale::c();
    const QString full = QStringLiteral("yyyy-MM-dd HH.mm");
    const QString toText =
        posix.toString(to, from.date() == to.date() ? QStringLiteral("HH.mm") : full);
    return QStringLiteral("What happened %1 to %2.mov").arg(posix.toString(from, full), toText);
}

QString workFileName() {
    return u'.' + QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper() +
           QStringLiteral(".mov");
}

QString timePattern(const QLocale& locale) {
    const QString format = locale.timeFormat(QLocale::LongFormat);
    const bool twelveHour = format.contains(u'a', Qt::CaseInsensitive);
    QString pattern;
    for (qsizetype i = 0; i < format.size();) {
        const QChar c = format.at(i);
        if (c == u'\'') {  // quoted text stays as it is
            const qsizetype end = format.indexOf(u'\'', i + 1);
            const qsizetype next = end < 0 ? format.size() : end + 1;
            pattern += format.mid(i, next - i);
            i = next;
            continue;
        }
        qsizetype run = 1;
        while (i + run < format.size() && format.at(i + run) == c) {
            ++run;
        }
        if (c == u'h' || c == u'H') {
            pattern += QString(twelveHour ? 2 : run, u'H');
        } else if (c == u'a' || c == u'A') {
            // "AP" and "ap" are one marker.
            if (i + run < format.size() && format.at(i + run).toLower() == u'p') {
                ++run;
            }
        } else if (c != u't') {
            pattern += format.mid(i, run);
        }
        i += run;
    }
    pattern = pattern.trimmed();
    if (!pattern.contains(u'H') || !pattern.contains(u'm') || !pattern.contains(u's')) {
        return QStringLiteral("HH:mm:ss");
    }
    return pattern;
}

QString label(const Frame& frame, bool showCameras, const QTimeZone& zone, const QLocale& locale) {
    QString text = locale.toString(frame.time.toTimeZone(zone), timePattern(locale));
    if (showCameras && frame.camera) {
        text += QStringLiteral(" \u00B7 ") + *frame.camera;
    }
    return text;
}

QRect fitRect(int pictureWidth, int pictureHeight, int canvasWidth, int canvasHeight) {
    if (pictureWidth <= 0 || pictureHeight <= 0 || canvasWidth <= 0 || canvasHeight <= 0) {
        return {0, 0, 0, 0};
    }
    const double scale =
        std::min(double(canvasHeight) / pictureHeight, double(canvasWidth) / pictureWidth);
    const int width = static_cast<int>(std::floor(pictureWidth * scale));
    const int height = static_cast<int>(std::floor(pictureHeight * scale));
    return {static_cast<int>(std::floor((canvasWidth - width) * 0.5)),
            static_cast<int>(std::floor((canvasHeight - height) * 0.5)), width, height};
}

int fontSize(int canvasHeight) {
    return std::max(12, static_cast<int>(std::lround(canvasHeight / 36.0)));
}

void drawFrame(const QImage* picture, const QString& text, QPainter& painter, int canvasWidth,
               int canvasHeight) {
    // The layout is worked out with the origin at the bottom left; Qt's is at
    // the top left, so every y is flipped on the way.
    painter.fillRect(0, 0, canvasWidth, canvasHeight, Qt::black);
    if (picture && !picture->isNull()) {
        const QRect fit = fitRect(picture->width(), picture->height(), canvasWidth, canvasHeight);
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(
            QRect(fit.x(), canvasHeight - fit.y() - fit.height(), fit.width(), fit.height()),
            *picture);
    }
    const int size = fontSize(canvasHeight);
    const QFont font = labelFont(size);
    const QFontMetricsF metrics(font);
    const double textWidth = metrics.horizontalAdvance(text);
    const double textHeight = metrics.ascent() + metrics.descent();
    const double minY = -metrics.descent();
    const double pad = std::round(size * 0.5);
    const double boxWidth = 3 * pad + textWidth;
    const double boxHeight = 2 * pad + textHeight;
    painter.fillRect(QRectF(0, canvasHeight - boxHeight, boxWidth, boxHeight),
                     QColor::fromRgbF(0, 0, 0, 0.6f));
    painter.setFont(font);
    painter.setPen(Qt::white);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.drawText(QPointF(1.5 * pad, canvasHeight - (pad - minY)), text);
}

Outcome render(const Request& request, const Progress& progress, const Cancel* cancel) {
    auto report = [&progress](double fraction) {
        if (progress) {
            progress(fraction);
        }
    };
    auto cancelled = [cancel] { return cancel && cancel->load(); };
    const Outcome stopped{{}, std::nullopt, true};
    const QStringList movies = moviesOf(request.events);
    const TimeLapse::Durations longest = TimeLapse::longestRuns(request.events, request.stretch.to);
    TimeLapse::Durations durations;
    for (qsizetype i = 0; i < movies.size(); ++i) {
        if (cancelled()) {
            return stopped;
        }
        if (const std::optional<double> seconds = MoviePictureReader::duration(movies[i])) {
            durations.insert(movies[i], std::min(*seconds, longest.value(movies[i], 0)));
        }
        report(durationShare * double(i + 1) / double(movies.size()));
    }
    const std::vector<Frame> frames = TimeLapse::frames(request.events, durations);
    const bool showCameras = TimeLapse::hasSeveralCameras(frames);

    FramePictures pictures(frames);
    TimeLapseWriter writer;
    bool opened = false;
    const QString workPath = QDir(request.folder).filePath(workFileName());
    for (std::size_t i = 0; i < frames.size(); ++i) {
        if (cancelled()) {
            if (opened) {
                writer.stop();
                QFile::remove(workPath);
            }
            return stopped;
        }
        const QImage picture = pictures.read(i);
        report(durationShare + (1 - durationShare) * double(i + 1) / double(frames.size()));
        if (picture.isNull()) {
            continue;
        }
        if (!opened) {
            if (!writer.open(workPath, canvasFor(picture.size()))) {
                QFile::remove(workPath);
                return {{},
                        Failure::couldNotWrite(
                            QCoreApplication::translate("TimeLapseRenderer",
                                                        "couldn't open a movie file in %1")
                                .arg(QFileInfo(QDir::cleanPath(request.folder)).fileName()))};
            }
            opened = true;
        }
        const QString text = label(frames[i], showCameras, request.zone, request.locale);
        const bool appended = writer.append([&](QImage& canvas) {
            QPainter painter(&canvas);
            drawFrame(&picture, text, painter, canvas.width(), canvas.height());
        });
        if (!appended) {
            break;  // finishing reports the writer's error
        }
    }
    if (!opened) {
        return {{}, Failure::nothingReadable()};
    }
    if (const std::optional<QString> error = writer.finish()) {
        QFile::remove(workPath);
        return {{},
                Failure::couldNotWrite(error->isEmpty()
                                           ? QCoreApplication::translate("TimeLapseRenderer",
                                                                         "the movie didn't finish")
                                           : *error)};
    }
    const QString outputPath =
        QDir(request.folder).filePath(outputName(request.stretch, request.zone));
    if (const std::optional<QString> error = moveIntoPlace(workPath, outputPath)) {
        QFile::remove(workPath);
        return {{}, Failure::couldNotWrite(*error)};
    }
    return {outputPath, std::nullopt};
}

}  // namespace TimeLapseRenderer
