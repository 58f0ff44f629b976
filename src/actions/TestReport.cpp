#include "TestReport.h"

#include "Defaults.h"
#include "LevelMonitor.h"
#include "RecordingFailureReport.h"
#include "RecordingManager.h"
#include "SettingsKeys.h"

#include <QVariantList>

TestReport::TestReport(RecordingManager& manager, LevelMonitor* levels, PreRollLookup preRollOf,
                       QObject* parent)
    : QObject(parent), manager_(manager), levels_(levels), preRollOf_(std::move(preRollOf)) {
    connect(&manager, &RecordingManager::isRecordingTestChanged, this, &TestReport::testChanged);
}

void TestReport::fileFinished(const QString& path) {
    if (manager_.isRecordingTest()) {
        files_ << path;
    }
}

void TestReport::testChanged() {
    if (manager_.isRecordingTest()) {
        files_.clear();
        if (levels_) {
            levels_->hold();
        }
        return;
    }
    QVariantList files;
    for (const QString& path : std::as_const(files_)) {
        QVariantMap file{{QStringLiteral("path"), path}};
        if (const std::optional<double> preRoll = preRollOf_ ? preRollOf_(path) : std::nullopt) {
            file.insert(QStringLiteral("preRoll"), *preRoll);
        }
        files << file;
    }
    files_.clear();
    QVariantMap report{
        {QStringLiteral("files"), files},
        {QStringLiteral("preRollAsked"),
         SettingsKeys::clampedPreRollSeconds(
             manager_.defaults().real(SettingsKeys::preRollSeconds))},
    };
    if (levels_) {
        report.insert(QStringLiteral("levels"), levels_->sinceHold());
    }
    if (const QVariantMap failure = RecordingFailureReport::fieldsOf(manager_);
        !failure.isEmpty()) {
        report.insert(QStringLiteral("recordingFailure"), failure);
    }
    Q_EMIT finished(report);
}
