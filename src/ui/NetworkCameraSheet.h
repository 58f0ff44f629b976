#pragma once

#include "NetworkCameraProbe.h"
#include "SecretStore.h"
#include "SerialQueue.h"

#include <QDialog>
#include <memory>
#include <optional>

class Defaults;
class QDialogButtonBox;
class QLabel;
class QLineEdit;
class QPushButton;

// The sheet that adds or edits a network camera: its name, its address, its
// user name and password, and a test that shows what the camera sends or
// why it cannot be watched. A user name and password typed or pasted into
// the address move into their own fields at once. Saving keeps the camera
// in the settings and its credentials in the secret service only; without a
// secret service it offers to keep the camera without them; a saved camera
// can be removed. Connecting and
// every secret-service call run off the GUI thread.
class NetworkCameraSheet : public QDialog {
    Q_OBJECT
public:
    // Edits the saved camera `uniqueID` when there is one, else adds one.
    NetworkCameraSheet(Defaults& defaults, const QString& uniqueID, QWidget* parent);
    ~NetworkCameraSheet() override;

    QLineEdit* nameField() const { return nameField_; }
    QLineEdit* addressField() const { return addressField_; }
    QLineEdit* userField() const { return userField_; }
    QLineEdit* passwordField() const { return passwordField_; }
    QPushButton* testButton() const { return testButton_; }
    QPushButton* saveButton() const { return saveButton_; }
    // Only when editing a saved camera.
    QPushButton* removeButton() const { return removeButton_; }
    QLabel* pictureLabel() const { return pictureLabel_; }
    QLabel* testResultLabel() const { return testResult_; }
    QLabel* secretNote() const { return secretNote_; }
    bool secretServiceAvailable() const { return secretServiceAvailable_.value_or(false); }

Q_SIGNALS:
    // Whether a secret service answers is known.
    void secretServiceChecked();
    // The test has its answer on screen.
    void tested();
    // The camera is in the settings under this ID (the sheet then closes).
    void saved(const QString& uniqueID);
    // The edited camera is no longer saved (the sheet then closes).
    void removed(const QString& uniqueID);

private:
    void buildLayout();
    void addressEdited(const QString& text);
    void test();
    void showResult(const NetworkCameraProbe::Result& result);
    void save();
    void stored(SecretStore::Outcome outcome);
    void keepInSettings();
    void remove();
    void updateButtons();
    void showSecretServiceState();
    // Runs `work` off the GUI thread and `then` back on it, while the sheet lives.
    template <typename Work, typename Then>
    void inBackground(Work work, Then then);

    Defaults& defaults_;
    const QString editedID_;
    std::optional<bool> secretServiceAvailable_;
    bool withoutPassword_ = false;  // the user agreed to keep the camera without one
    std::shared_ptr<NetworkCameraProbe> probe_;

    QLineEdit* nameField_ = nullptr;
    QLineEdit* addressField_ = nullptr;
    QLineEdit* userField_ = nullptr;
    QLineEdit* passwordField_ = nullptr;
    QPushButton* testButton_ = nullptr;
    QLabel* pictureLabel_ = nullptr;
    QLabel* testResult_ = nullptr;
    QLabel* secretNote_ = nullptr;
    QDialogButtonBox* buttons_ = nullptr;
    QPushButton* saveButton_ = nullptr;
    QPushButton* removeButton_ = nullptr;

    // Outlives the sheet by what it still has to do (see the destructor).
    std::unique_ptr<SerialQueue> worker_ = std::make_unique<SerialQueue>("NetworkCameraSheet");
};
