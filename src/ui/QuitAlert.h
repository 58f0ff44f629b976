#pragma once

#include <QMessageBox>
#include <QObject>
#include <QPointer>

// The alert shown while Nelvo quits in the middle of a recording: it offers
// to quit at once or to keep recording, and goes away by itself once the
// files are written.
class QuitAlert : public QObject {
    Q_OBJECT

public:
    explicit QuitAlert(QObject* parent = nullptr);
    ~QuitAlert() override;

    void show();
    // Closes the alert without an answer (the files are written).
    void dismiss();
    bool isShown() const;
    QMessageBox* messageBox() const { return box_; }

Q_SIGNALS:
    // The user chose: "Quit Now" (true) or "Keep Recording" (false).
    void answered(bool quitNow);

private:
    QPointer<QMessageBox> box_;
    QPushButton* quitNow_ = nullptr;
    bool dismissing_ = false;
};
