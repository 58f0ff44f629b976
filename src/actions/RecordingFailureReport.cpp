#include "RecordingFailureReport.h"

#include "Clock.h"
#include "RecordingManager.h"

RecordingFailureReport::RecordingFailureReport(RecordingManager& manager, QObject* parent)
    : QObject(parent), manager_(manager), later_(manager.clock().makeTimer([this] { tell(); })) {
    connect(&manager, &RecordingManager::recordingFailureChanged, this,
            &RecordingFailureReport::changed);
    toldFailure_ = manager.recordingFailure();
    toldCount_ = manager.recordingFailureCount();
}

QString RecordingFailureReport::nameOf(RecordingFailure failure) {
    switch (failure) {
        case RecordingFailure::diskFull:
            return QStringLiteral("diskFull");
        case RecordingFailure::destinationMissing:
            return QStringLiteral("destinationMissing");
        case RecordingFailure::notPermitted:
            return QStringLiteral("notPermitted");
        case RecordingFailure::other:
            return QStringLiteral("other");
    }
    return QStringLiteral("other");
}

QString RecordingFailureReport::clearedText() {
    return tr("Recordings are being saved again.");
}

QVariantMap RecordingFailureReport::fieldsOf(const RecordingManager& manager) {
    const std::optional<RecordingFailure> failure = manager.recordingFailure();
    if (!failure) {
        return {};
    }
    const qint64 count = manager.recordingFailureCount();
    return {{QStringLiteral("failure"), nameOf(*failure)},
            {QStringLiteral("count"), count},
            {QStringLiteral("at"), manager.recordingFailedAt().toString(Qt::ISODateWithMs)},
            {QStringLiteral("notice"), RecordingFailure::noticeText(count, *failure)}};
}

void RecordingFailureReport::changed() {
    const std::optional<RecordingFailure> failure = manager_.recordingFailure();
    const qint64 count = manager_.recordingFailureCount();
    if (failure == toldFailure_ && count == toldCount_) {
        return;
    }
    const bool onlyRepeats = failure && failure == toldFailure_;
    const std::chrono::milliseconds now(manager_.now().toMSecsSinceEpoch());
    if (onlyRepeats && repeatQuiet_.isQuiet(now)) {
        if (!later_->isActive()) {
            later_->start(repeatQuiet_.left(now));
        }
        return;
    }
    tell();
}

void RecordingFailureReport::tell() {
    later_->stop();
    const std::optional<RecordingFailure> failure = manager_.recordingFailure();
    const qint64 count = manager_.recordingFailureCount();
    if (failure == toldFailure_ && count == toldCount_) {
        return;
    }
    toldFailure_ = failure;
    toldCount_ = count;
    repeatQuiet_.said(std::chrono::milliseconds(manager_.now().toMSecsSinceEpoch()));
    const QVariantMap fields = fieldsOf(manager_);
    Q_EMIT told(fields,
                failure ? fields.value(QStringLiteral("notice")).toString() : clearedText());
}
