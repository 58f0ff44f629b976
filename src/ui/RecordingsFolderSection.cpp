#include "RecordingsFolderSection.h"

#include "Defaults.h"
#include "RecordingManager.h"
#include "RecordingsFolder.h"
#include "SettingsAlert.h"
#include "SettingsKeys.h"
#include "SettingsLook.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QVBoxLayout>

RecordingsFolderSection::RecordingsFolderSection(RecordingManager& recordingManager,
                                                 PickFolder pickFolder, QWidget* parent)
    : QWidget(parent),
      recordingManager_(recordingManager),
      defaults_(recordingManager.defaults()),
      pickFolder_(std::move(pickFolder)) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    //: Settings label
    column->addWidget(new QLabel(tr("Recordings folder:"), this));
    auto* line = new QHBoxLayout;
    recordingsFolderField_ = new QLineEdit(this);
    recordingsFolderField_->setReadOnly(true);
    line->addWidget(recordingsFolderField_, 1);
    //: Settings button that picks the recordings folder
    auto* choose = new QPushButton(tr("Choose…"), this);
    //: Settings button that goes back to the default recordings folder
    auto* reset = new QPushButton(tr("Use Default"), this);
    choose->setObjectName(QStringLiteral("chooseFolderButton"));
    reset->setObjectName(QStringLiteral("resetFolderButton"));
    connect(choose, &QPushButton::clicked, this, [this] { handleChooseFolder(); });
    connect(reset, &QPushButton::clicked, this, [this] { handleResetFolder(); });
    line->addWidget(choose);
    line->addWidget(reset);
    column->addLayout(line);
    recordingsFolderNote_ = SettingsLook::noteLabel(this);
    column->addWidget(recordingsFolderNote_);
}

void RecordingsFolderSection::redraw() {
    const FolderState state = recordingManager_.folderState();
    recordingsFolderField_->setText(RecordingsFolder::displayPath(state.folder()));
    recordingsFolderField_->setCursorPosition(0);
    recordingsFolderNote_->setText(RecordingsFolder::stateText(state));
    SettingsLook::setTextColour(recordingsFolderNote_, state.kind() == FolderState::Case::inUse
                                                           ? SettingsLook::secondaryColour(this)
                                                           : SettingsLook::warningColour());
}

void RecordingsFolderSection::handleChooseFolder() {
    const QString start = RecordingsFolder::resolve(defaults_).folder;
    const QString folder = pickFolder_(window(), start);
    if (folder.isEmpty()) {
        return;
    }
    if (RecordingsFolder::chooseIfWritable(folder, defaults_)) {
        SettingsAlert::inform(
            this, RecordingsFolder::cantWriteTitle(RecordingsFolder::displayPath(folder)),
            RecordingsFolder::cantWriteText());
        return;
    }
    redraw();
    Q_EMIT folderChanged();
}

void RecordingsFolderSection::handleResetFolder() {
    // The recording manager hears the change from the settings store and
    // takes up the default folder.
    defaults_.remove(SettingsKeys::recordingsFolderBookmark);
    redraw();
    Q_EMIT folderChanged();
}
