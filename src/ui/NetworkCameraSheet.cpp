#include "NetworkCameraSheet.h"

#include "Defaults.h"
#include "NetworkCameraUrl.h"
#include "SavedNetworkCameras.h"
#include "SettingsLook.h"

#include <QApplication>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QVBoxLayout>
#include <cmath>

namespace {

const QSize pictureSize(320, 180);

QString framesPerSecondText(double rate) {
    const double whole = std::round(rate);
    return std::abs(rate - whole) < 0.05 ? QString::number(int(whole))
                                         : QString::number(rate, 'f', 1);
}

}  // namespace

NetworkCameraSheet::NetworkCameraSheet(Defaults& defaults, const QString& uniqueID, QWidget* parent)
    : QDialog(parent), defaults_(defaults), editedID_(uniqueID) {
    //: Title of the sheet that adds a network camera
    setWindowTitle(tr("Network Camera"));
    setWindowModality(Qt::WindowModal);
    buildLayout();
    if (const auto saved = SavedNetworkCameras::find(defaults_, editedID_)) {
        //: Button that forgets a saved network camera
        removeButton_ = buttons_->addButton(tr("Remove Camera"), QDialogButtonBox::DestructiveRole);
        connect(removeButton_, &QPushButton::clicked, this, [this] { remove(); });
        nameField_->setText(saved->name);
        addressField_->setText(saved->address);
        addressEdited(saved->address);
        const QString id = saved->uniqueID;
        inBackground([id] { return SecretStore::lookup(id); },
                     [this](const std::optional<NetworkCredentials>& credentials) {
                         if (credentials && userField_->text().isEmpty() &&
                             passwordField_->text().isEmpty()) {
                             userField_->setText(credentials->user);
                             passwordField_->setText(credentials->password);
                             updateButtons();
                         }
                     });
    }
    inBackground([] { return SecretStore::available(); },
                 [this](bool available) {
                     secretServiceAvailable_ = available;
                     showSecretServiceState();
                     Q_EMIT secretServiceChecked();
                 });
    updateButtons();
}

// The probe's teardown and the secret service's answers are waited for off
// the GUI thread: the worker queue ends itself once they are done.
NetworkCameraSheet::~NetworkCameraSheet() {
    SerialQueue* worker = worker_.release();
    worker->async([worker, probe = std::move(probe_)]() mutable {
        probe.reset();
        delete worker;
    });
}

void NetworkCameraSheet::buildLayout() {
    auto* form = new QFormLayout;
    form->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    nameField_ = new QLineEdit(this);
    addressField_ = new QLineEdit(this);
    //: Placeholder of a network camera's address
    addressField_->setPlaceholderText(tr("rtsp://camera.local/stream"));
    addressField_->setMinimumWidth(pictureSize.width());
    userField_ = new QLineEdit(this);
    passwordField_ = new QLineEdit(this);
    passwordField_->setEchoMode(QLineEdit::Password);
    //: Network camera sheet label
    form->addRow(tr("Name:"), nameField_);
    //: Network camera sheet label
    form->addRow(tr("Address:"), addressField_);
    auto* addressNote = SettingsLook::noteLabel(this);
    addressNote->setObjectName(QStringLiteral("addressNote"));
    form->addRow(QString(), addressNote);
    //: Network camera sheet label
    form->addRow(tr("User name:"), userField_);
    //: Network camera sheet label
    form->addRow(tr("Password:"), passwordField_);
    secretNote_ = SettingsLook::noteLabel(this);
    secretNote_->hide();
    form->addRow(QString(), secretNote_);

    //: Button that connects to a network camera to try it
    testButton_ = new QPushButton(tr("Test"), this);
    pictureLabel_ = new QLabel(this);
    pictureLabel_->setFixedSize(pictureSize);
    pictureLabel_->setAlignment(Qt::AlignCenter);
    pictureLabel_->setFrameShape(QFrame::StyledPanel);
    testResult_ = SettingsLook::noteLabel(this);
    auto* testRow = new QHBoxLayout;
    // The notes take the fields' width rather than wrapping narrower.
    for (QLabel* note : {addressNote, secretNote_, testResult_}) {
        note->setMinimumWidth(pictureSize.width());
    }
    testRow->addWidget(testButton_);
    testRow->addStretch();
    form->addRow(QString(), testRow);
    form->addRow(QString(), pictureLabel_);
    form->addRow(QString(), testResult_);

    buttons_ = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
    //: Button that keeps a network camera
    saveButton_ = buttons_->addButton(tr("Save"), QDialogButtonBox::AcceptRole);
    saveButton_->setDefault(true);
    auto* layout = new QVBoxLayout(this);
    layout->addLayout(form);
    layout->addWidget(buttons_);
    layout->setSizeConstraint(QLayout::SetFixedSize);

    connect(addressField_, &QLineEdit::textEdited, this,
            [this](const QString& text) { addressEdited(text); });
    for (QLineEdit* field : {userField_, passwordField_}) {
        connect(field, &QLineEdit::textChanged, this, [this] { updateButtons(); });
    }
    connect(testButton_, &QPushButton::clicked, this, [this] { test(); });
    connect(buttons_, &QDialogButtonBox::accepted, this, [this] { save(); });
    connect(buttons_, &QDialogButtonBox::rejected, this, &QDialog::reject);
}

// A user name and password in the address move to their fields at once, so
// the address shown and kept never holds them.
void NetworkCameraSheet::addressEdited(const QString& text) {
    auto* note = findChild<QLabel*>(QStringLiteral("addressNote"));
    QString problem;
    const std::optional<NetworkCameraUrl> url = NetworkCameraUrl::parse(text.trimmed(), &problem);
    if (url && url->hasCredentials()) {
        userField_->setText(url->userName());
        passwordField_->setText(url->password());
        // The rest stays as typed, so typing goes on where it was.
        const int authority = text.indexOf(QStringLiteral("://")) + 3;
        const int path = text.indexOf(u'/', authority);
        const int at = text.lastIndexOf(u'@', path < 0 ? -1 : path - 1);
        const int cursor = addressField_->cursorPosition();
        if (authority >= 3 && at >= authority) {
            addressField_->setText(text.left(authority) + text.mid(at + 1));
            addressField_->setCursorPosition(std::max(authority, cursor - (at + 1 - authority)));
        } else {
            addressField_->setText(url->address());
        }
    }
    if (url || text.trimmed().isEmpty()) {
        //: Note under a network camera's address
        note->setText(
            tr("An RTSP stream (rtsp:// or rtsps://), or an MJPEG stream over HTTP "
               "(http:// or https://)."));
        SettingsLook::setTextColour(note, SettingsLook::secondaryColour(note));
    } else {
        note->setText(problem);
        SettingsLook::setTextColour(note, SettingsLook::warningColour());
    }
    nameField_->setPlaceholderText(url ? url->name() : QString());
    updateButtons();
}

void NetworkCameraSheet::test() {
    const std::optional<NetworkCameraUrl> url =
        NetworkCameraUrl::parse(addressField_->text().trimmed());
    if (!url) {
        return;
    }
    worker_->async([old = std::move(probe_)] {});
    testButton_->setEnabled(false);
    pictureLabel_->clear();
    //: While a network camera is being tried
    testResult_->setText(tr("Connecting…"));
    SettingsLook::setTextColour(testResult_, SettingsLook::secondaryColour(testResult_));
    QPointer<NetworkCameraSheet> sheet(this);
    probe_ = std::make_shared<NetworkCameraProbe>(
        *url, NetworkCredentials{userField_->text(), passwordField_->text()},
        [sheet](const NetworkCameraProbe::Result& result) {
            QMetaObject::invokeMethod(
                qApp,
                [sheet, result] {
                    if (sheet) {
                        sheet->showResult(result);
                    }
                },
                Qt::QueuedConnection);
        });
    probe_->start();
}

void NetworkCameraSheet::showResult(const NetworkCameraProbe::Result& result) {
    worker_->async([old = std::move(probe_)] {});
    updateButtons();
    if (!result.problem.isEmpty()) {
        testResult_->setText(result.problem);
        SettingsLook::setTextColour(testResult_, SettingsLook::warningColour());
    } else {
        pictureLabel_->setPixmap(QPixmap::fromImage(
            result.picture.scaled(pictureSize, Qt::KeepAspectRatio, Qt::SmoothTransformation)));
        //: What a network camera sends: %1 x %2 its size in pixels, %3 its frame rate, %4
        //: its codec (H.264, H.265 or MJPEG)
        testResult_->setText(tr("%1 × %2, %3 frames a second, %4")
                                 .arg(result.size.width())
                                 .arg(result.size.height())
                                 .arg(framesPerSecondText(result.framesPerSecond), result.codec));
        SettingsLook::setTextColour(testResult_, SettingsLook::secondaryColour(testResult_));
    }
    Q_EMIT tested();
}

void NetworkCameraSheet::save() {
    const std::optional<NetworkCameraUrl> url =
        NetworkCameraUrl::parse(addressField_->text().trimmed());
    if (!url) {
        return;
    }
    saveButton_->setEnabled(false);
    const QString id = url->uniqueID();
    const NetworkCredentials credentials{userField_->text(), passwordField_->text()};
    if (withoutPassword_ || (credentials.user.isEmpty() && credentials.password.isEmpty())) {
        inBackground([id] { return SecretStore::remove(id); }, [this](bool) { keepInSettings(); });
        return;
    }
    const QString name =
        nameField_->text().trimmed().isEmpty() ? url->name() : nameField_->text().trimmed();
    //: What the desktop's password manager shows for a network camera's password
    const QString label = tr("Nelvo network camera %1").arg(name);
    inBackground([id, label, credentials] { return SecretStore::store(id, label, credentials); },
                 [this](SecretStore::Outcome outcome) { stored(outcome); });
}

void NetworkCameraSheet::stored(SecretStore::Outcome outcome) {
    switch (outcome) {
        case SecretStore::Outcome::stored:
            keepInSettings();
            return;
        case SecretStore::Outcome::noService:
            secretServiceAvailable_ = false;
            showSecretServiceState();
            break;
        case SecretStore::Outcome::failed:
            //: The secret service refused to keep a network camera's password
            secretNote_->setText(
                tr("The secret service didn't keep the password. Try again, or "
                   "keep this camera without its password."));
            SettingsLook::setTextColour(secretNote_, SettingsLook::warningColour());
            secretNote_->show();
            break;
    }
    withoutPassword_ = true;
    updateButtons();
}

void NetworkCameraSheet::keepInSettings() {
    const std::optional<NetworkCameraUrl> url =
        NetworkCameraUrl::parse(addressField_->text().trimmed());
    if (!url) {
        return;
    }
    const QString name = nameField_->text().trimmed();
    SavedNetworkCameras::save(defaults_, {url->uniqueID(), name.isEmpty() ? url->name() : name,
                                          url->address(), QString()});
    // A camera whose address changed is a new camera: the old one goes.
    if (!editedID_.isEmpty() && editedID_ != url->uniqueID() &&
        SavedNetworkCameras::find(defaults_, editedID_)) {
        SavedNetworkCameras::remove(defaults_, editedID_);
        worker_->async([old = editedID_] { SecretStore::remove(old); });
    }
    Q_EMIT saved(url->uniqueID());
    accept();
}

void NetworkCameraSheet::remove() {
    SavedNetworkCameras::remove(defaults_, editedID_);
    worker_->async([old = editedID_] { SecretStore::remove(old); });
    Q_EMIT removed(editedID_);
    reject();
}

void NetworkCameraSheet::updateButtons() {
    const bool valid = NetworkCameraUrl::parse(addressField_->text().trimmed()).has_value();
    testButton_->setEnabled(valid && !probe_);
    saveButton_->setEnabled(valid);
    const bool hasSecret = !userField_->text().isEmpty() || !passwordField_->text().isEmpty();
    const bool offerWithout = hasSecret && (withoutPassword_ || secretServiceAvailable_ == false);
    withoutPassword_ = offerWithout;
    saveButton_->setText(offerWithout
                             //: Keeps a network camera but not its user name and password
                             ? tr("Keep Without Password")
                             : tr("Save"));
}

void NetworkCameraSheet::showSecretServiceState() {
    if (secretServiceAvailable_ != false) {
        return;
    }
    //: No secret service (desktop keyring) runs to keep a network camera's password
    secretNote_->setText(
        tr("No secret service is running, so Nelvo can't keep a password "
           "safely, and it never writes one anywhere else. You can keep this "
           "camera without its password."));
    SettingsLook::setTextColour(secretNote_, SettingsLook::warningColour());
    secretNote_->show();
    updateButtons();
}

template <typename Work, typename Then>
void NetworkCameraSheet::inBackground(Work work, Then then) {
    QPointer<NetworkCameraSheet> sheet(this);
    worker_->async([sheet, work, then] {
        const auto answer = work();
        QMetaObject::invokeMethod(
            qApp,
            [sheet, then, answer] {
                if (sheet) {
                    then(answer);
                }
            },
            Qt::QueuedConnection);
    });
}
