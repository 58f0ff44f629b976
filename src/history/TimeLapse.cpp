#include "TimeLapse.h"

#include "FileOutputManager.h"

#include <QDir>
#include <QRegularExpression>
#include <QSet>
#include <algorithm>

namespace TimeLapse {

namespace {

QString lastComponent(const QString& path) {
    return path.mid(path.lastIndexOf(u'/') + 1);
}

// A name without what follows its last dot, the way recording names are read.
QString withoutExtension(const QString& name) {
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot > 0 ? name.left(dot) : name;
}

QString extension(const QString& path) {
    const QString name = lastComponent(path);
    const qsizetype dot = name.lastIndexOf(u'.');
    return dot > 0 ? name.mid(dot + 1) : QString();
}

QString stillBeside(const QString& moviePath) {
    const qsizetype slash = moviePath.lastIndexOf(u'/');
    return moviePath.left(slash + 1) + withoutExtension(lastComponent(moviePath)) +
           QStringLiteral(".jpg");
}

QString trimmedSpacesAndTabs(const QString& text) {
    qsizetype begin = 0;
    qsizetype end = text.size();
    auto blank = [](QChar c) { return c == u' ' || c == u'\t'; };
    while (begin < end && blank(text.at(begin))) {
        ++begin;
    }
    while (end > begin && blank(text.at(end - 1))) {
        --end;
    }
    return text.mid(begin, end - begin);
}

// The frames one event contributes, in gathering order.
void gather(const Event& event, const Durations& durations, std::vector<Frame>& out) {
    QStringList movies;
    QSet<QString> files;
    for (const QString& file : event.files) {
        files.insert(QDir::cleanPath(file));
        if (extension(file).toLower() == QStringLiteral("mov")) {
            movies.append(file);
        }
    }
    std::sort(movies.begin(), movies.end());
    for (const QString& movie : movies) {
        const QString name = lastComponent(movie);
        const std::optional<QDateTime> start = FileOutputManager::startDate(name);
        if (!start) {
            continue;
        }
        const std::optional<QString> camera = cameraName(name);
        const QString still = stillBeside(movie);
        if (files.contains(QDir::cleanPath(still))) {
            out.push_back({Source::still(still), *start, camera});
        }
        const auto duration = durations.constFind(movie);
        if (duration == durations.constEnd() || !(*duration > 0)) {
            continue;
        }
        for (qint64 i = 0; i * pictureSpacing < *duration; ++i) {
            const double offset = i * pictureSpacing;
            out.push_back({Source::movie(movie, offset),
                           start->addMSecs(static_cast<qint64>(offset * 1000)), camera});
        }
    }
}

}  // namespace

Durations longestRuns(const std::vector<Event>& events, const QDateTime& stretchEnd) {
    struct Movie {
        QDateTime start;
        QString path;
    };
    QHash<QString, std::vector<Movie>> byCamera;  // movies without a camera share one
    for (const Event& event : events) {
        for (const QString& file : event.files) {
            const QString name = lastComponent(file);
            if (extension(file).toLower() != QStringLiteral("mov")) {
                continue;
            }
            if (const std::optional<QDateTime> start = FileOutputManager::startDate(name)) {
                byCamera[cameraName(name).value_or(QString())].push_back({*start, file});
            }
        }
    }
    Durations longest;
    for (std::vector<Movie>& movies : byCamera) {
        std::sort(movies.begin(), movies.end(), [](const Movie& a, const Movie& b) {
            return a.start < b.start || (a.start == b.start && a.path < b.path);
        });
        for (std::size_t i = 0; i < movies.size(); ++i) {
            const QDateTime& end = i + 1 < movies.size() ? movies[i + 1].start : stretchEnd;
            const double span = std::max<qint64>(0, movies[i].start.msecsTo(end)) / 1000.0;
            longest.insert(movies[i].path, span + runAllowance);
        }
    }
    return longest;
}

std::vector<Frame> frames(const std::vector<Event>& events, const Durations& durations) {
    std::vector<Frame> result;
    for (const Event& event : events) {
        gather(event, durations, result);
    }
    std::stable_sort(result.begin(), result.end(),
                     [](const Frame& a, const Frame& b) { return a.time < b.time; });
    return result;
}

std::optional<QString> cameraName(const QString& fileName) {
    const QString stem = withoutExtension(fileName);
    const qsizetype dash = stem.indexOf(QStringLiteral(" - "));
    if (dash < 0) {
        return std::nullopt;
    }
    QString camera = stem.mid(dash + 3);
    const qsizetype plus = camera.indexOf(QStringLiteral(" + "));
    if (plus >= 0) {
        camera.truncate(plus);
    }
    static const QRegularExpression frameLossMark(QStringLiteral(" - [0-9]+s missing$"));
    camera.remove(frameLossMark);
    camera = trimmedSpacesAndTabs(camera);
    if (camera.isEmpty()) {
        return std::nullopt;
    }
    return camera;
}

bool hasSeveralCameras(const std::vector<Frame>& frames) {
    std::optional<QString> first;
    for (const Frame& frame : frames) {
        if (!frame.camera) {
            continue;
        }
        if (!first) {
            first = frame.camera;
        } else if (*first != *frame.camera) {
            return true;
        }
    }
    return false;
}

}  // namespace TimeLapse
