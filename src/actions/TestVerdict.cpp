#include "TestVerdict.h"

#include "PlainText.h"
#include "StatusText.h"

#include <QCoreApplication>
#include <QVariantList>
#include <cmath>

namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("TestVerdict", text);
}

QString fixed(double value, int decimals) {
    return QString::number(value, 'f', decimals);
}

QString peakText(double peak) {
    return QString::number(std::lround(peak));
}

}  // namespace

TestVerdict::TestVerdict(const std::vector<Movie>& movies, double preRollAsked,
                         const QVariantMap& levels, const QVariantMap& failure) {
    sound_ = !movies.empty();
    for (const Movie& movie : movies) {
        bool movieSound = true;
        lines_ << movieLine(movie, preRollAsked, movieSound);
        sound_ = sound_ && movieSound;
    }
    if (movies.empty()) {
        //: nelvo test --verify: no file was written
        lines_ << tr("The test wrote no movie.");
        if (failure.contains(QStringLiteral("notice"))) {
            lines_ << failure.value(QStringLiteral("notice")).toString();
        }
    } else {
        lines_ << (sound_ ? tr("Every movie of the test is sound.")
                          : tr("Not every movie of the test is sound."));
    }
    const QVariantList cameras = levels.value(QStringLiteral("cameras")).toList();
    for (const QVariant& camera : cameras) {
        lines_ << motionSentence(camera.toMap(), cameras.size() > 1);
    }
    if (levels.contains(QStringLiteral("microphone"))) {
        lines_ << soundSentence(levels.value(QStringLiteral("microphone")).toMap());
    }
}

QString TestVerdict::movieLine(const Movie& movie, double preRollAsked, bool& sound) const {
    const QString name = PlainText::escaped(movie.fileName);
    const MovieCheck::Facts& facts = movie.facts;
    if (facts.problem) {
        sound = false;
        //: nelvo test --verify: %1 file name, %2 why it can't be read
        return tr("%1: can't be read: %2").arg(name, *facts.problem);
    }
    QStringList parts;
    //: nelvo test --verify: the movie's length in seconds
    parts << tr("%1 s long").arg(fixed(facts.lengthSeconds, 2));
    if (!facts.firstKeyframeSeconds) {
        sound = false;
        parts << tr("no keyframe");
    } else if (std::abs(*facts.firstKeyframeSeconds) > videoStartTolerance) {
        sound = false;
        parts << tr("first keyframe at %1 s (it must be at 0)")
                     .arg(fixed(*facts.firstKeyframeSeconds, 3));
    } else {
        parts << tr("first keyframe at %1 s").arg(fixed(*facts.firstKeyframeSeconds, 3));
    }
    const double videoStart = facts.videoStartSeconds.value_or(0);
    sound = sound && std::abs(videoStart) <= videoStartTolerance;
    QString starts = tr("video starts at %1 s").arg(fixed(videoStart, 3));
    if (facts.audioStartSeconds) {
        sound = sound && std::abs(*facts.audioStartSeconds) <= audioStartTolerance;
        starts += tr(", audio at %1 s").arg(fixed(*facts.audioStartSeconds, 3));
    } else {
        starts += tr(", no audio");
    }
    parts << starts;
    if (facts.framesLost == 0) {
        parts << tr("no frames lost");
    } else {
        sound = false;
        parts << (facts.framesLost == 1 ? tr("1 frame lost")
                                        : tr("%1 frames lost").arg(facts.framesLost));
    }
    const QString asked = StatusText::number(preRollAsked);
    if (!movie.preRollSeconds) {
        parts << tr("the pre-roll it began with isn't known");
    } else if (*movie.preRollSeconds + 0.001 >= preRollAsked) {
        //: nelvo test --verify: %1 seconds of pre-roll the movie has, %2 seconds asked for
        parts << tr("pre-roll %1 s of the %2 s asked for: covered")
                     .arg(fixed(*movie.preRollSeconds, 2), asked);
    } else {
        sound = false;
        parts << tr("pre-roll %1 s of the %2 s asked for: not covered")
                     .arg(fixed(*movie.preRollSeconds, 2), asked);
    }
    return name + QStringLiteral(": ") + parts.join(QStringLiteral("; ")) + u'.';
}

std::optional<int> TestVerdict::suggestedThreshold(double peak) {
    // A fifth below the peak, on a multiple of 5 where that still lies below it.
    const long rounded = 5 * std::lround(0.8 * peak / 5);
    if (rounded >= 5 && rounded < peak) {
        return int(rounded);
    }
    const long whole = std::lround(std::floor(0.8 * peak));
    if (whole >= 1 && whole < peak) {
        return int(whole);
    }
    return std::nullopt;
}

QString TestVerdict::motionSentence(const QVariantMap& camera, bool named) {
    const QString prefix =
        named ? PlainText::escaped(camera.value(QStringLiteral("name")).toString()) +
                    QStringLiteral(": ")
              : QString();
    if (!camera.contains(QStringLiteral("motionPeak"))) {
        return prefix + tr("No motion level was measured during the test.");
    }
    const double peak = camera.value(QStringLiteral("motionPeak")).toDouble();
    const double threshold = camera.value(QStringLiteral("motionThreshold")).toDouble();
    const QString peaked = tr("Motion peaked at %1").arg(peakText(peak));
    if (!camera.value(QStringLiteral("motionTriggerEnabled")).toBool()) {
        return prefix + peaked + tr("; motion doesn't trigger recordings while it's turned off.");
    }
    const QString against = tr("; the threshold is %1: ").arg(StatusText::number(threshold));
    if (threshold < peak) {
        return prefix + peaked + against + tr("it would have triggered.");
    }
    const std::optional<int> lower = suggestedThreshold(peak);
    return prefix + peaked + against + tr("it would not have triggered. ") +
           (lower ? tr("Lower it to %1 or draw a zone around where people appear.").arg(*lower)
                  : tr("Move in front of the camera during the test, or draw a zone around "
                       "where people appear."));
}

QString TestVerdict::soundSentence(const QVariantMap& microphone) {
    if (!microphone.contains(QStringLiteral("soundPeak"))) {
        return tr("No sound level was measured during the test.");
    }
    const double peak = microphone.value(QStringLiteral("soundPeak")).toDouble();
    const double threshold = microphone.value(QStringLiteral("soundThreshold")).toDouble();
    const QString peaked = tr("Sound peaked at %1").arg(peakText(peak));
    if (!microphone.value(QStringLiteral("soundTriggerEnabled")).toBool()) {
        return peaked + tr("; sound doesn't trigger recordings while it's turned off.");
    }
    const QString against = tr("; the threshold is %1: ").arg(StatusText::number(threshold));
    if (threshold < peak) {
        return peaked + against + tr("it would have triggered.");
    }
    const std::optional<int> lower = suggestedThreshold(peak);
    return peaked + against + tr("it would not have triggered. ") +
           (lower ? tr("Lower it to %1 or move the microphone closer to where things happen.")
                        .arg(*lower)
                  : tr("Make a sound during the test, or move the microphone closer to where "
                       "things happen."));
}
