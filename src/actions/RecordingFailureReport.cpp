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
    const QDateTime now = manager_.now();
    if (onlyRepeats && toldAt_.isValid() && toldAt_.secsTo(now) < repeatSeconds) {
        if (!later_->isActive()) {
            later_->start(std::chrono::seconds(repeatSeconds - toldAt_.secsTo(now)));
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
    toldAt_ = manager_.now();
    const QVariantMap fields = fieldsOf(manager_);
    Q_EMIT told(fields,
                failure ? fields.value(QStringLiteral("notice")).toString() : clearedText());
}
