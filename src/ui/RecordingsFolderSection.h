#pragma once

#include <QWidget>
#include <functional>

class Defaults;
class QLabel;
class QLineEdit;
class RecordingManager;

// The settings window's recordings folder: the folder in use, a button to
// choose another and one to go back to the default, and a note on the
// folder's state, orange when it is not usable.
class RecordingsFolderSection : public QWidget {
    Q_OBJECT
public:
    // How a folder is picked, given the window to pick over and the folder
    // to start from; an empty answer means the user cancelled.
    using PickFolder = std::function<QString(QWidget* parent, const QString& start)>;

    RecordingsFolderSection(RecordingManager& recordingManager, PickFolder pickFolder,
                            QWidget* parent);

    // Shows the folder and its state as the recording manager has them.
    void redraw();
    void handleChooseFolder();
    void handleResetFolder();

    QLineEdit* recordingsFolderField() const { return recordingsFolderField_; }
    QLabel* recordingsFolderNote() const { return recordingsFolderNote_; }

Q_SIGNALS:
    // The user chose another folder, or the default one.
    void folderChanged();

private:
    RecordingManager& recordingManager_;
    Defaults& defaults_;
    PickFolder pickFolder_;
    QLineEdit* recordingsFolderField_ = nullptr;
    QLabel* recordingsFolderNote_ = nullptr;
};
