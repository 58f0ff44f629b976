#include "FrameLoss.h"

#include "Error.h"
#include "FileOutputManager.h"
#include "Log.h"
#include "PrivateFile.h"

#include <QFile>
#include <QFileInfo>
#include <QStringList>
#include <cerrno>
#include <cmath>
#include <cstdio>

namespace FrameLoss {

QString name(Reason reason) {
    switch (reason) {
        case Reason::encoderBehind:
            return QStringLiteral("encoderBehind");
        case Reason::encodeFailed:
            return QStringLiteral("encodeFailed");
        case Reason::writerRefused:
            return QStringLiteral("writerRefused");
        case Reason::captureDropped:
            return QStringLiteral("captureDropped");
    }
    return {};
}

std::int64_t Tally::total() const {
    std::int64_t sum = 0;
    for (const std::int64_t count : counts_) {
        sum += count;
    }
    return sum;
}

QString Tally::description() const {
    QStringList pieces;
    for (const Reason reason : allReasons) {
        if (count(reason) >= 1) {
            pieces << name(reason) + QLatin1Char(' ') + QString::number(count(reason));
        }
    }
    return pieces.join(QStringLiteral(", "));
}

void Gaps::update(double t, double d) {
    written += 1;
    if (lastTime && d > 0 && t - *lastTime > 1.5 * d) {
        const double gap = (t - *lastTime) - d;
        missing += gap;
        longest = std::max(longest, gap);
    }
    lastTime = t;
}

std::int64_t Gaps::expectedFrames(double f) const {
    if (f <= 0 || written < 1) {
        return 0;
    }
    return written + static_cast<std::int64_t>(std::round(missing / f));
}

namespace {

// Never replaces a file that already has the new name.
std::optional<Error> moveWithoutReplacing(const QString& from, const QString& to) {
    if (PrivateFile::moveIntoPlace(from, to)) {
        return std::nullopt;
    }
    return Error::posix(errno);
}

}  // namespace

std::optional<QString> reportAndRename(const QString& filePath, const Tally& tally,
                                       const Gaps& gaps, double frameInterval) {
    const std::int64_t expected = gaps.expectedFrames(frameInterval);
    const QString fileName = QFileInfo(filePath).fileName();
    if (tally.total() >= 1) {
        Log::line(fileName + QStringLiteral(": ") + tally.description());
    }
    if (gaps.written < 1 || expected < 1) {
        return std::nullopt;
    }
    const double lostShare =
        static_cast<double>(expected - gaps.written) / static_cast<double>(expected);
    if (gaps.longest < 1.0 && lostShare <= 0.1) {
        return std::nullopt;
    }
    const auto seconds =
        std::max<std::int64_t>(1, static_cast<std::int64_t>(std::round(gaps.missing)));
    const QString renamed = FileOutputManager::frameLossPath(filePath, seconds);
    if (const std::optional<Error> error = moveWithoutReplacing(filePath, renamed)) {
        Log::line(QStringLiteral("Could not rename %1 to say what it lost: %2")
                      .arg(fileName, error->description));
        return std::nullopt;
    }
    return renamed;
}

}  // namespace FrameLoss
