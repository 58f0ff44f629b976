#include "SettingsViewController.h"

#include "CaptureManager.h"
#include "Defaults.h"
#include "FileOutputManager.h"
#include "RecordingManager.h"
#include "RecordingsFolder.h"
#include "ScheduleRowView.h"
#include "ScheduleSurvival.h"
#include "SettingsKeys.h"
#include "StorageForecast.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFormLayout>
#include <QFrame>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QLocale>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>

const SettingsViewController::NumberField SettingsViewController::timeoutRange{
    SettingsKeys::timeoutValueInSeconds, 5, 0, CaptureManager::maximumTimeoutSeconds};
const SettingsViewController::NumberField SettingsViewController::preRollRange{
    SettingsKeys::preRollSeconds, 5, 0, 30};
const SettingsViewController::NumberField SettingsViewController::limitRange{
    SettingsKeys::recordingsLimitGB, 0, 0, static_cast<int>(StorageForecast::largestLimitGB)};

namespace {

QFrame* separator(QWidget* parent) {
    auto* line = new QFrame(parent);
    line->setFrameShape(QFrame::HLine);
    line->setFrameShadow(QFrame::Sunken);
    return line;
}

QLabel* noteLabel(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setWordWrap(true);
    QFont font = label->font();
    font.setPointSizeF(font.pointSizeF() * 0.9);
    label->setFont(font);
    return label;
}

void setTextColour(QLabel* label, const QColor& colour) {
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, colour);
    label->setPalette(palette);
}

QColor secondaryColour(const QWidget* widget) {
    return widget->palette().color(QPalette::PlaceholderText);
}

const QColor orangeColour(0xC8, 0x5A, 0x00);

// Selects the item carrying `data`, or the first item when none does.
void selectData(QComboBox* menu, const QVariant& data) {
    const int index = menu->findData(data);
    menu->setCurrentIndex(index >= 0 ? index : 0);
}

bool listed(const std::vector<CaptureManagerSettingsDelegate::Device>& devices,
            const QString& uniqueID) {
    return std::any_of(devices.begin(), devices.end(),
                       [&](const auto& device) { return device.uniqueID == uniqueID; });
}

// A field row: a control, then a unit that explains it.
QWidget* withUnit(QWidget* control, const QString& unit, QWidget* parent) {
    auto* box = new QWidget(parent);
    auto* row = new QHBoxLayout(box);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(control);
    row->addWidget(new QLabel(unit, box), 1);
    return box;
}

}  // namespace

SettingsViewController::SettingsViewController(RecordingManager& recordingManager,
                                               CaptureManager& captureManager,
                                               LoginItemService& loginItemService, QWidget* parent)
    : QWidget(parent),
      recordingManager_(recordingManager),
      captureManager_(captureManager),
      defaults_(recordingManager.defaults()),
      loginItem_(loginItemService) {
    pickFolder = [](QWidget* parent, const QString& start) {
        //: Folder chooser's message
        return QFileDialog::getExistingDirectory(parent,
                                                 tr("Choose where Nelvo saves its recordings."),
                                                 start, QFileDialog::ShowDirsOnly);
    };
    openLoginItemsSettings = [] {
        if (!QProcess::startDetached(QStringLiteral("gnome-control-center"),
                                     {QStringLiteral("applications")})) {
            QProcess::startDetached(QStringLiteral("systemsettings"), {});
        }
    };
    buildLayout();
    captureManager_.setSettingsDelegate(this);
}

SettingsViewController::~SettingsViewController() {
    captureManager_.setSettingsDelegate(nullptr);
}

// ---- Layout ------------------------------------------------------------------

void SettingsViewController::buildLayout() {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(20, 16, 20, 16);
    column->setSpacing(10);
    // One form for the devices and the numbers, so their fields line up.
    auto* form = new QFormLayout;
    buildDevices(form);
    form->addRow(separator(this));
    buildNumbers(form);
    column->addLayout(form);
    column->addWidget(separator(this));
    column->addWidget(buildFolder());
    column->addWidget(separator(this));
    column->addWidget(buildLogin());
    column->addWidget(separator(this));
    column->addWidget(buildSchedule());
    column->addStretch(1);
    setMinimumWidth(minimumWidth);
}

void SettingsViewController::buildDevices(QFormLayout* form) {
    QWidget* box = this;
    cameraSelectPopup_ = new QComboBox(box);
    secondCameraSelectPopup_ = new QComboBox(box);
    microphoneSelectPopup_ = new QComboBox(box);
    for (QComboBox* menu : {cameraSelectPopup_, secondCameraSelectPopup_, microphoneSelectPopup_}) {
        menu->setSizeAdjustPolicy(QComboBox::AdjustToContents);
        menu->setMinimumWidth(240);
    }
    //: Settings label
    form->addRow(tr("Camera:"), cameraSelectPopup_);
    //: Settings label
    form->addRow(tr("Second camera:"), secondCameraSelectPopup_);
    //: Settings label
    form->addRow(tr("Microphone:"), microphoneSelectPopup_);
    connect(cameraSelectPopup_, &QComboBox::currentIndexChanged, this,
            [this] { handleCameraSelection(); });
    connect(secondCameraSelectPopup_, &QComboBox::currentIndexChanged, this,
            [this] { handleSecondCameraSelection(); });
    connect(microphoneSelectPopup_, &QComboBox::currentIndexChanged, this,
            [this] { handleMicrophoneSelection(); });
}

QLineEdit* SettingsViewController::makeNumberField() {
    auto* field = new QLineEdit(this);
    field->setAlignment(Qt::AlignRight);
    field->setFixedWidth(field->fontMetrics().horizontalAdvance(QStringLiteral("000000")) + 16);
    connect(field, &QLineEdit::editingFinished, this,
            [this, field] { controlTextDidEndEditing(field); });
    return field;
}

void SettingsViewController::buildNumbers(QFormLayout* form) {
    QWidget* box = this;
    timeoutField_ = makeNumberField();
    preRollField_ = makeNumberField();
    recordingsLimitField_ = makeNumberField();
    //: Settings label and unit of the recording timeout
    form->addRow(tr("Stop recording:"),
                 withUnit(timeoutField_, tr("seconds after the last motion or sound"), box));
    //: Settings label and unit of the pre-roll
    form->addRow(tr("Pre-roll:"),
                 withUnit(preRollField_, tr("seconds before the trigger (at most 30)"), box));
    //: Settings label and unit of the size limit
    form->addRow(tr("Size limit:"),
                 withUnit(recordingsLimitField_, tr("GB for all recordings (0: no limit)"), box));
    storageForecastLabel_ = noteLabel(box);
    storageForecastLabel_->setObjectName(QStringLiteral("storageForecast"));
    setTextColour(storageForecastLabel_, secondaryColour(this));
    form->addRow(QString(), storageForecastLabel_);
}

QWidget* SettingsViewController::buildFolder() {
    auto* box = new QWidget(this);
    auto* column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    //: Settings label
    column->addWidget(new QLabel(tr("Recordings folder:"), box));
    auto* line = new QHBoxLayout;
    recordingsFolderField_ = new QLineEdit(box);
    recordingsFolderField_->setReadOnly(true);
    line->addWidget(recordingsFolderField_, 1);
    //: Settings button that picks the recordings folder
    auto* choose = new QPushButton(tr("Choose…"), box);
    //: Settings button that goes back to the default recordings folder
    auto* reset = new QPushButton(tr("Use Default"), box);
    choose->setObjectName(QStringLiteral("chooseFolderButton"));
    reset->setObjectName(QStringLiteral("resetFolderButton"));
    connect(choose, &QPushButton::clicked, this, [this] { handleChooseFolder(); });
    connect(reset, &QPushButton::clicked, this, [this] { handleResetFolder(); });
    line->addWidget(choose);
    line->addWidget(reset);
    column->addLayout(line);
    recordingsFolderNote_ = noteLabel(box);
    column->addWidget(recordingsFolderNote_);
    return box;
}

QWidget* SettingsViewController::buildLogin() {
    auto* box = new QWidget(this);
    auto* column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    //: Settings checkbox
    openAtLoginCheckbox_ = new QCheckBox(tr("Open Nelvo at Login"), box);
    //: Settings checkbox
    armAtLoginCheckbox_ = new QCheckBox(tr("Arm when Nelvo opens"), box);
    connect(openAtLoginCheckbox_, &QCheckBox::clicked, this, [this] { handleOpenAtLogin(); });
    connect(armAtLoginCheckbox_, &QCheckBox::clicked, this, [this] { handleArmAtLogin(); });
    //: Settings checkbox: arm while the desktop's Do Not Disturb is on, disarm when it goes off
    doNotDisturbCheckbox_ = new QCheckBox(tr("Arm while Do Not Disturb is on"), box);
    connect(doNotDisturbCheckbox_, &QCheckBox::clicked, this,
            [this](bool on) { defaults_.set(SettingsKeys::armWhileDoNotDisturb, on); });
    column->addWidget(openAtLoginCheckbox_);
    column->addWidget(armAtLoginCheckbox_);
    column->addWidget(doNotDisturbCheckbox_);
    return box;
}

QWidget* SettingsViewController::buildSchedule() {
    auto* box = new QWidget(this);
    auto* column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    //: Settings checkbox
    scheduleCheckbox_ = new QCheckBox(tr("Watch on a schedule"), box);
    connect(scheduleCheckbox_, &QCheckBox::clicked, this, [this] { scheduleEnabledChanged(); });
    column->addWidget(scheduleCheckbox_);
    scheduleRowsLayout_ = new QVBoxLayout;
    scheduleRowsLayout_->setSpacing(4);
    column->addLayout(scheduleRowsLayout_);
    //: Settings button that adds a row to the schedule
    addWindowButton_ = new QPushButton(tr("Add a window"), box);
    connect(addWindowButton_, &QPushButton::clicked, this, [this] { addScheduleWindow(); });
    auto* buttonLine = new QHBoxLayout;
    buttonLine->addWidget(addWindowButton_);
    buttonLine->addStretch(1);
    column->addLayout(buttonLine);
    scheduleNote_ = noteLabel(box);
    scheduleNote_->setObjectName(QStringLiteral("scheduleNote"));
    column->addWidget(scheduleNote_);
    return box;
}

// ---- Appearing -----------------------------------------------------------------

void SettingsViewController::viewWillAppear() {
    schedule_ = Schedule::load(defaults_);
    rebuildScheduleSection();
    rebuildDeviceMenus();
    captureManager_.listDevices();
    redrawFolderLine();
    connect(&recordingManager_, &RecordingManager::recordingsChanged, this,
            &SettingsViewController::redrawFolderLine, Qt::UniqueConnection);
    recordingManager_.checkFolder();
    armAtLoginCheckbox_->setChecked(defaults_.boolValue(SettingsKeys::armAtLogin));
    doNotDisturbCheckbox_->setChecked(defaults_.boolValue(SettingsKeys::armWhileDoNotDisturb));
    loginState_ = loginItem_.state();
    openAtLoginCheckbox_->setChecked(loginState_ == LoginItem::State::on);
    updateScheduleNote();
    fillNumberFields();
    refreshStorageForecast();
    resize(sizeHint());
}

void SettingsViewController::fillNumberFields() {
    timeoutField_->setText(QString::number(defaults_.integer(timeoutRange.key)));
    const double preRoll = SettingsKeys::clampedPreRollSeconds(defaults_.real(preRollRange.key));
    preRollField_->setText(QString::number(std::lround(preRoll)));
    recordingsLimitField_->setText(QString::number(defaults_.integer(limitRange.key)));
}

// ---- Device menus ----------------------------------------------------------------

void SettingsViewController::devicesListed(const std::vector<Device>& cameras,
                                           const std::vector<Device>& microphones) {
    cameras_ = cameras;
    microphones_ = microphones;
    rebuildDeviceMenus();
}

void SettingsViewController::rebuildDeviceMenus() {
    rebuildCameraMenu();
    rebuildSecondCameraMenu();
    rebuildMicrophoneMenu();
}

void SettingsViewController::rebuildCameraMenu() {
    const QSignalBlocker quiet(cameraSelectPopup_);
    cameraSelectPopup_->clear();
    //: Camera menu item
    cameraSelectPopup_->addItem(tr("No camera"), QVariant());
    for (const Device& camera : cameras_) {
        cameraSelectPopup_->addItem(camera.name, camera.uniqueID);
    }
    const std::optional<QString> chosen = defaults_.string(SettingsKeys::selectedCameraID);
    QVariant current;
    if (chosen && chosen->isEmpty()) {
        current = QVariant();
    } else if (const auto inUse = captureManager_.camera(0)) {
        current = inUse->uniqueID();
    } else if (chosen) {
        current = *chosen;
    }
    selectData(cameraSelectPopup_, current);
}

void SettingsViewController::rebuildSecondCameraMenu() {
    const QSignalBlocker quiet(secondCameraSelectPopup_);
    secondCameraSelectPopup_->clear();
    //: Second camera menu item
    secondCameraSelectPopup_->addItem(tr("No second camera"), noSecondCamera);
    // The first camera cannot be the second one too.
    const QVariant first = cameraSelectPopup_->currentData();
    for (const Device& camera : cameras_) {
        if (camera.uniqueID != first.toString()) {
            secondCameraSelectPopup_->addItem(camera.name, camera.uniqueID);
        }
    }
    QVariant current = noSecondCamera;
    if (const auto chosen = defaults_.string(SettingsKeys::secondCameraID)) {
        current = *chosen;
    } else if (const auto inUse = captureManager_.camera(1)) {
        current = inUse->uniqueID();
    }
    selectData(secondCameraSelectPopup_, current);
}

void SettingsViewController::rebuildMicrophoneMenu() {
    const QSignalBlocker quiet(microphoneSelectPopup_);
    microphoneSelectPopup_->clear();
    //: Microphone menu item
    microphoneSelectPopup_->addItem(tr("System default"), systemDefault);
    //: Microphone menu item
    microphoneSelectPopup_->addItem(tr("No microphone"), QVariant());
    for (const Device& microphone : microphones_) {
        microphoneSelectPopup_->addItem(microphone.name, microphone.uniqueID);
    }
    const std::optional<QString> chosen = defaults_.string(SettingsKeys::selectedMicrophoneID);
    if (!chosen) {
        selectData(microphoneSelectPopup_, systemDefault);
    } else if (chosen->isEmpty()) {
        selectData(microphoneSelectPopup_, QVariant());
    } else {
        selectData(microphoneSelectPopup_,
                   listed(microphones_, *chosen) ? QVariant(*chosen) : QVariant(systemDefault));
    }
}

void SettingsViewController::handleCameraSelection() {
    const QVariant data = cameraSelectPopup_->currentData();
    captureManager_.chooseCamera(data.isNull() ? std::nullopt
                                               : std::optional<QString>(data.toString()));
    rebuildSecondCameraMenu();
}

void SettingsViewController::handleSecondCameraSelection() {
    const QString data = secondCameraSelectPopup_->currentData().toString();
    captureManager_.chooseSecondCamera(data == noSecondCamera ? std::nullopt
                                                              : std::optional<QString>(data));
    rebuildSecondCameraMenu();
}

void SettingsViewController::handleMicrophoneSelection() {
    const QVariant data = microphoneSelectPopup_->currentData();
    if (data.isNull()) {
        captureManager_.chooseNoMicrophone();
    } else if (data.toString() == systemDefault) {
        captureManager_.followSystemInput();
    } else {
        captureManager_.chooseMicrophone(data.toString());
    }
    rebuildSecondCameraMenu();
}

// ---- Number fields -----------------------------------------------------------------

const SettingsViewController::NumberField* SettingsViewController::numberFieldFor(
    const QLineEdit* field) const {
    if (field == timeoutField_) {
        return &timeoutRange;
    }
    if (field == preRollField_) {
        return &preRollRange;
    }
    if (field == recordingsLimitField_) {
        return &limitRange;
    }
    return nullptr;
}

void SettingsViewController::controlTextDidEndEditing(QLineEdit* field) {
    const NumberField* range = numberFieldFor(field);
    if (!range) {
        return;
    }
    if (field->text().trimmed().isEmpty()) {
        field->setText(QString::number(range->fallback));
    }
    bool isNumber = false;
    const int value = QLocale().toInt(field->text().trimmed(), &isNumber);
    if (!isNumber || value < range->minimum || value > range->maximum) {
        // What the field showed before stays in force.
        fillNumberFields();
        didFailToFormat(*range);
        return;
    }
    field->setText(QString::number(value));
    defaults_.set(range->key, value);
    if (field == recordingsLimitField_) {
        showStorageForecast();
    }
}

void SettingsViewController::didFailToFormat(const NumberField& range) {
    const QLocale locale;
    //: Alert title for a number out of range; the arguments are the smallest and largest allowed
    alert(tr("Enter a number from %1 to %2")
              .arg(locale.toString(range.minimum), locale.toString(range.maximum)),
          QString());
}

// ---- Recordings folder -----------------------------------------------------------------

void SettingsViewController::redrawFolderLine() {
    const FolderState state = recordingManager_.folderState();
    recordingsFolderField_->setText(RecordingsFolder::displayPath(state.folder()));
    recordingsFolderField_->setCursorPosition(0);
    recordingsFolderNote_->setText(RecordingsFolder::stateText(state));
    setTextColour(recordingsFolderNote_,
                  state.kind() == FolderState::Case::inUse ? secondaryColour(this) : orangeColour);
}

void SettingsViewController::handleChooseFolder() {
    const QString start = RecordingsFolder::resolve(defaults_).folder;
    const QString folder = pickFolder(window(), start);
    if (folder.isEmpty()) {
        return;
    }
    if (RecordingsFolder::chooseIfWritable(folder, defaults_)) {
        alert(RecordingsFolder::cantWriteTitle(RecordingsFolder::displayPath(folder)),
              RecordingsFolder::cantWriteText());
        return;
    }
    redrawFolderLine();
    refreshStorageForecast();
}

void SettingsViewController::handleResetFolder() {
    // The recording manager hears the change from the settings store and
    // takes up the default folder.
    defaults_.remove(SettingsKeys::recordingsFolderBookmark);
    redrawFolderLine();
    refreshStorageForecast();
}

// ---- Storage forecast ------------------------------------------------------------------

// The listing reads the disk, so it runs on its own queue; the forecast is
// drawn when it comes back.
void SettingsViewController::refreshStorageForecast() {
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
                showStorageForecast();
            },
            Qt::QueuedConnection);
    });
}

void SettingsViewController::showStorageForecast() {
    const QString text = StorageForecast::text(forecastRecordings_, recordingManager_.now(),
                                               defaults_.integer(limitRange.key));
    storageForecastLabel_->setText(text);
    storageForecastLabel_->setVisible(!text.isEmpty());
    Q_EMIT storageForecastShown();
}

// ---- Login -----------------------------------------------------------------------------

void SettingsViewController::handleOpenAtLogin() {
    const auto [state, error] = loginItem_.set(openAtLoginCheckbox_->isChecked());
    loginState_ = state;
    openAtLoginCheckbox_->setChecked(state == LoginItem::State::on);
    updateScheduleNote();
    loginItemNotifier_->post(state);
    if (error) {
        //: Alert title
        alert(tr("Nelvo couldn't change whether it opens at login."), error->description);
    } else if (state == LoginItem::State::needsApproval) {
        //: Alert title
        QMessageBox* box = makeAlert(tr("Your desktop needs your approval before Nelvo can open at "
                                        "login."),
                                     //: Alert text
                                     tr("Allow Nelvo to run in the background in your desktop's "
                                        "settings."));
        //: Alert button
        QPushButton* open = box->addButton(tr("Open Settings"), QMessageBox::AcceptRole);
        //: Alert button
        box->addButton(tr("Not Now"), QMessageBox::RejectRole);
        box->setDefaultButton(open);
        connect(open, &QPushButton::clicked, this, [this] { openLoginItemsSettings(); });
        box->open();
    }
}

void SettingsViewController::handleArmAtLogin() {
    defaults_.set(SettingsKeys::armAtLogin, armAtLoginCheckbox_->isChecked());
}

// ---- Schedule ----------------------------------------------------------------------------

ScheduleWindow SettingsViewController::defaultScheduleWindow() {
    return {{2, 3, 4, 5, 6}, 22 * 60, 7 * 60};
}

std::vector<ScheduleRowView*> SettingsViewController::scheduleRows() const {
    std::vector<ScheduleRowView*> rows;
    for (int i = 0; i < scheduleRowsLayout_->count(); ++i) {
        if (auto* row = qobject_cast<ScheduleRowView*>(scheduleRowsLayout_->itemAt(i)->widget())) {
            rows.push_back(row);
        }
    }
    return rows;
}

void SettingsViewController::rebuildScheduleSection() {
    const bool enabled = defaults_.boolValue(SettingsKeys::scheduledArmingEnabled);
    scheduleCheckbox_->setChecked(enabled);
    addWindowButton_->setEnabled(enabled);
    // Rows may be asking for their own removal right now: they go once
    // control is back in the event loop.
    while (QLayoutItem* item = scheduleRowsLayout_->takeAt(0)) {
        if (QWidget* row = item->widget()) {
            row->hide();
            row->deleteLater();
        }
        delete item;
    }
    for (std::size_t i = 0; i < schedule_.windows.size(); ++i) {
        scheduleRowsLayout_->addWidget(new ScheduleRowView(
            schedule_.windows[i], enabled,
            [this, i](const ScheduleWindow& window) { scheduleWindowChanged(i, window); },
            [this, i] { removeScheduleWindow(i); }, this));
    }
    updateScheduleNote();
}

void SettingsViewController::scheduleEnabledChanged() {
    defaults_.set(SettingsKeys::scheduledArmingEnabled, scheduleCheckbox_->isChecked());
    rebuildScheduleSection();
}

void SettingsViewController::addScheduleWindow() {
    schedule_.windows.push_back(defaultScheduleWindow());
    saveSchedule();
    rebuildScheduleSection();
}

void SettingsViewController::scheduleWindowChanged(std::size_t index,
                                                   const ScheduleWindow& window) {
    schedule_.windows[index] = window;
    saveSchedule();
    updateScheduleNote();
}

void SettingsViewController::removeScheduleWindow(std::size_t index) {
    schedule_.windows.erase(schedule_.windows.begin() + static_cast<std::ptrdiff_t>(index));
    saveSchedule();
    rebuildScheduleSection();
}

void SettingsViewController::saveSchedule() {
    // The recording manager reloads the schedule when the store changes.
    schedule_.save(defaults_);
}

void SettingsViewController::updateScheduleNote() {
    if (ScheduleSurvival::scheduleCannotSurviveRestart(defaults_, loginState_,
                                                       recordingManager_.now())) {
        //: Settings, under the schedule, when nothing would open Nelvo after a restart
        scheduleNote_->setText(
            tr("The schedule only arms Nelvo while it's open, and with Open Nelvo at Login off "
               "nothing opens it after a restart. Turn it on above, or open Nelvo yourself after "
               "each restart."));
        setTextColour(scheduleNote_, orangeColour);
        return;
    }
    if (loginState_ != LoginItem::State::on) {
        //: Settings, under the schedule
        scheduleNote_->setText(
            tr("The schedule only runs while Nelvo is open, so turn on Open Nelvo at Login. "
               "While the schedule is on, Nelvo keeps the computer awake the whole time, on days "
               "without a window too."));
    } else {
        //: Settings, under the schedule
        scheduleNote_->setText(
            tr("While the schedule is on, Nelvo keeps the computer awake the "
               "whole time, including days without a window."));
    }
    setTextColour(scheduleNote_, secondaryColour(this));
}

// ---- Alerts --------------------------------------------------------------------------------

// Window-modal on the settings window, so the rest of Nelvo stays usable.
QMessageBox* SettingsViewController::makeAlert(const QString& title, const QString& text) {
    auto* box = new QMessageBox(window());
    box->setObjectName(QStringLiteral("settingsAlert"));
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setIcon(QMessageBox::Warning);
    box->setWindowModality(Qt::WindowModal);
    box->setText(title);
    box->setInformativeText(text);
    return box;
}

void SettingsViewController::alert(const QString& title, const QString& text) {
    QMessageBox* box = makeAlert(title, text);
    //: The button of an alert that only informs
    box->addButton(tr("OK"), QMessageBox::AcceptRole);
    box->open();
}
