#pragma once

#include "Defaults.h"
#include "MovieProbe.h"
#include "NelvoRun.h"
#include "PrivateBus.h"
#include "PulseAudioServer.h"
#include "SettingsKeys.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>
#include <QVariantHash>
#include <cstdio>
#include <optional>

// What the reliability scenarios share: cameras plugged in and out of a real
// `nelvo --headless` from outside, its settings written before it starts, its
// status asked over D-Bus, and every movie it left read back with ffprobe.
namespace HeadlessRig {

// Cameras of the tests' plug-in provider, seen by every `nelvo` started after
// this object: a file per camera in a folder the provider reads (see
// TestCameraPlugin.cpp).
class PluggedCameras {
public:
    PluggedCameras() {
        QDir(base_.path()).mkpath(QStringLiteral("cameras"));
        qputenv("NELVO_TEST_CAMERAS", folder().toUtf8());
        qputenv("GST_PLUGIN_PATH", NELVO_TEST_PLUGIN_DIR);
    }
    ~PluggedCameras() { qunsetenv("NELVO_TEST_CAMERAS"); }

    // Plugs a camera in, or changes what a plugged one sees: "moving" or
    // "still", optionally followed by a frame format ("1280x720@30").
    bool show(const QString& name, const QString& content) {
        // Written beside the folder and moved in, so the provider never reads half a file.
        const QString staged = base_.filePath(QStringLiteral("staged"));
        QFile file(staged);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            return false;
        }
        file.write(content.toUtf8());
        file.close();
        const QString target = folder() + u'/' + name;
        return ::rename(QFile::encodeName(staged).constData(),
                        QFile::encodeName(target).constData()) == 0;
    }
    bool unplug(const QString& name) { return QFile::remove(folder() + u'/' + name); }

private:
    QString folder() const { return base_.filePath(QStringLiteral("cameras")); }

    QTemporaryDir base_;
};

// A bus and a sound server of the test's own, so Nelvo never reaches the
// desktop's. The server's one sink is a silent room whose monitor is the
// microphone: present, and never a trigger. Create it after the
// TestEnvironment, before Nelvo starts.
class QuietRoom {
public:
    QuietRoom() {
        if (!bus_.isRunning()) {
            problem_ = QStringLiteral("the test's bus did not start");
        } else if (!sound_.isRunning()) {
            problem_ = sound_.problem();
        } else if (!sound_.loadNullSink(QStringLiteral("room"), QStringLiteral("Room"))) {
            problem_ = QStringLiteral("the sound server took no sink");
        } else {
            sound_.becomeDefaultForThisProcess();
        }
    }

    // Why the room is not ready, or an empty string.
    const QString& problem() const { return problem_; }
    PrivateBus& bus() { return bus_; }
    PulseAudioServer& sound() { return sound_; }

private:
    PrivateBus bus_;
    PulseAudioServer sound_;
    QString problem_;
};

// Prints a run's whole log when the test function fails while it lives
// (QTest shortens failure messages). Declare it after the run it watches.
class LogOnFailure {
public:
    explicit LogOnFailure(NelvoRun& run) : run_(run) {}
    ~LogOnFailure() {
        if (QTest::currentTestFailed()) {
            run_.waitForExit(0);
            std::fprintf(stderr, "---- nelvo's log ----\n%s\n---- end of nelvo's log ----\n",
                         qPrintable(run_.log()));
        }
    }
    LogOnFailure(const LogOnFailure&) = delete;
    LogOnFailure& operator=(const LogOnFailure&) = delete;

private:
    NelvoRun& run_;
};

// Settings in place before Nelvo first starts. Nelvo's first-launch values
// are marked as written so they do not replace the test's.
inline void writeSettings(const QString& settingsPath, const QVariantHash& values) {
    Defaults defaults(settingsPath);
    defaults.set(SettingsKeys::validateFirstlaunch, false);
    for (auto it = values.begin(); it != values.end(); ++it) {
        defaults.set(it.key(), it.value());
    }
    defaults.flush();
}

// Quick triggers and short recordings: motion of the moving ball triggers,
// the still picture never does.
inline QVariantHash quickRecordings() {
    return {{SettingsKeys::motionTriggerThreshold, 3},
            {SettingsKeys::timeoutValueInSeconds, 2},
            {SettingsKeys::preRollSeconds, 1}};
}

// Arms the running Nelvo as a script does, once it has its devices: `nelvo
// arm` counts down 5 s where arming at launch counts down 15, and these
// scenarios are about what happens once armed. False when the command fails.
inline bool armByCommand(NelvoRun& nelvo) {
    if (nelvo.waitForLine(QStringLiteral("Devices: "), 60000).isEmpty()) {
        return false;
    }
    QProcess command;
    command.start(QStringLiteral(NELVO_EXECUTABLE), {"arm"});
    if (!command.waitForFinished(20000)) {
        command.kill();
        command.waitForFinished(2000);
        return false;
    }
    return command.exitStatus() == QProcess::NormalExit && command.exitCode() == 0;
}

// `nelvo status --json` answered by the running Nelvo on this process's bus.
inline QJsonObject status() {
    QProcess command;
    command.start(QStringLiteral(NELVO_EXECUTABLE), {"status", "--json"});
    if (!command.waitForFinished(20000)) {
        command.kill();
        command.waitForFinished(2000);
        return {};
    }
    return QJsonDocument::fromJson(command.readAllStandardOutput()).object();
}

// The count of a failure notice with this reason ("1 recording wasn't saved:
// …", "3 recordings in a row weren't saved: …"), or nothing when the text
// is not that notice.
inline std::optional<int> failureCount(const QString& notice, const QString& reason) {
    static const QRegularExpression pattern(
        QStringLiteral("^(\\d+) recordings? (?:in a row )?(?:wasn't|weren't) saved: (.*)$"));
    const QRegularExpressionMatch match = pattern.match(notice);
    if (!match.hasMatch() || match.captured(2) != reason) {
        return std::nullopt;
    }
    return match.captured(1).toInt();
}

inline const QString noRoomReason = QStringLiteral("there's no room left where recordings go");
inline const QString missingReason = QStringLiteral("the folder recordings go to isn't there");
inline const QString notPermittedReason =
    QStringLiteral("Nelvo isn't allowed to write where recordings go");

// Every movie under the folder, sorted by name (so by start time).
inline QStringList moviesUnder(const QString& folder) {
    QStringList found;
    QDirIterator it(folder, {QStringLiteral("*.mov")}, QDir::Files | QDir::Hidden,
                    QDirIterator::Subdirectories);
    while (it.hasNext()) {
        found << it.next();
    }
    found.sort();
    return found;
}

// Why a movie Nelvo left is not a playable recording, or an empty string.
inline QString movieProblem(const QString& path) {
    if (QFileInfo(path).size() == 0) {
        return path + QStringLiteral(" is empty");
    }
    const MovieProbe probe(path);
    if (!probe.readable()) {
        return path + QStringLiteral(" does not read: ") + probe.errorText();
    }
    if (probe.codec(QStringLiteral("video")) != u"h264" || probe.frameCount() < 1) {
        return path + QStringLiteral(" has no H.264 frames");
    }
    if (!probe.firstFrameIsKeyframe() || !probe.timestampsMonotonic()) {
        return path + QStringLiteral(" does not start at a keyframe in order");
    }
    return {};
}

// The problems of every movie under the folder, one per line.
inline QString moviesProblems(const QString& folder) {
    QStringList problems;
    for (const QString& movie : moviesUnder(folder)) {
        const QString problem = movieProblem(movie);
        if (!problem.isEmpty()) {
            problems << problem;
        }
    }
    return problems.join(u'\n');
}

// The path a "Recording to …" or "Finished …" line names.
inline QString pathOf(const QString& line) {
    return line.mid(line.indexOf(u'/'));
}

}  // namespace HeadlessRig
