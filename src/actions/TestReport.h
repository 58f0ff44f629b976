#pragma once

#include <QObject>
#include <QStringList>
#include <QVariantMap>
#include <functional>
#include <optional>

class LevelMonitor;
class RecordingManager;

// Follows one test recording from its start to its end and then tells what
// `nelvo test --verify` needs to judge it: the files it wrote, the pre-roll
// each began with and the one asked for, the highest levels measured during
// the test beside their thresholds, and the failure if it wrote nothing.
// Main thread.
class TestReport : public QObject {
    Q_OBJECT
public:
    // The seconds before the trigger a file begins; nothing when unknown.
    using PreRollLookup = std::function<std::optional<double>(const QString& path)>;

    TestReport(RecordingManager& manager, LevelMonitor* levels, PreRollLookup preRollOf,
               QObject* parent = nullptr);

    // A file is finished under `path` (any file; those of the test are kept).
    void fileFinished(const QString& path);

Q_SIGNALS:
    // "files": one dictionary per file with "path" and, when known,
    // "preRoll"; "preRollAsked"; "levels" (see LevelMonitor); and
    // "recordingFailure" when there is one.
    void finished(const QVariantMap& report);

private:
    void testChanged();

    RecordingManager& manager_;
    LevelMonitor* levels_;
    PreRollLookup preRollOf_;
    QStringList files_;
};
