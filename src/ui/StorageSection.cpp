#include "StorageSection.h"

#include "Defaults.h"
#include "FileOutputManager.h"
#include "RecordingManager.h"
#include "RecordingsFolder.h"
#include "SettingsKeys.h"
#include "SettingsLook.h"
#include "StorageForecast.h"

#include <QFileInfo>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>

const NumberField StorageSection::limitRange{SettingsKeys::recordingsLimitGB, 0, 0,
                                             static_cast<int>(StorageForecast::largestLimitGB)};

StorageSection::StorageSection(RecordingManager& recordingManager, QFormLayout* form,
                               QWidget* parent)
    : QObject(parent), recordingManager_(recordingManager), defaults_(recordingManager.defaults()) {
    recordingsLimitField_ = NumberField::makeEdit(parent);
    connect(recordingsLimitField_, &QLineEdit::editingFinished, this, &StorageSection::endEditing);
    //: Settings label and unit of the size limit
    form->addRow(tr("Size limit:"),
                 SettingsLook::withUnit(recordingsLimitField_,
                                        tr("GB for all recordings (0: no limit)"), parent));
    forecastLabel_ = SettingsLook::noteLabel(parent);
    forecastLabel_->setObjectName(QStringLiteral("storageForecast"));
    SettingsLook::setTextColour(forecastLabel_, SettingsLook::secondaryColour(parent));
    form->addRow(QString(), forecastLabel_);
}

void StorageSection::fill() {
    recordingsLimitField_->setText(QString::number(defaults_.integer(limitRange.key)));
}

void StorageSection::endEditing() {
    const std::optional<int> value = limitRange.take(recordingsLimitField_);
    if (!value) {
        Q_EMIT numberRejected(limitRange);
        return;
    }
    defaults_.set(limitRange.key, *value);
    showForecast();
}

// The listing reads the disk, so it runs on its own queue; the forecast is
// drawn when it comes back.
void StorageSection::refreshForecast() {
    const QString folder = RecordingsFolder::resolve(defaults_).folder;
    forecastQueue_.async([this, folder] {
        QList<Recording> recordings;
        if (QFileInfo(folder).isDir()) {
            recordings = FileOutputManager(folder).recordings();
        }
        QMetaObject::invokeMethod(
            this,
            [this, recordings] {
                forecastRecordings_ = recordings;
                showForecast();
            },
            Qt::QueuedConnection);
    });
}

void StorageSection::showForecast() {
    const QString text = StorageForecast::text(forecastRecordings_, recordingManager_.now(),
                                               defaults_.integer(limitRange.key));
    forecastLabel_->setText(text);
    forecastLabel_->setVisible(!text.isEmpty());
    Q_EMIT forecastShown();
}
