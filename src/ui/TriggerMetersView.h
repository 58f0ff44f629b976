#pragma once

#include <QWidget>
#include <array>
#include <optional>

class CaptureManager;
class Defaults;
class MeterRowView;
class QCheckBox;

// The popover's two columns of triggers: the motion checkbox over a meter
// per camera (the second camera's only while one runs) and the sound
// checkbox over the microphone's meter. The checkboxes and sliders are the
// trigger settings themselves: they show the stored ones and store the
// user's moves. A camera's slider sets that camera's threshold. A camera's
// meter goes with the camera: when the cameras change places its level moves
// to its new row, and a camera new to a row starts from rest.
class TriggerMetersView : public QWidget {
    Q_OBJECT
public:
    // `width` is the room the two columns share.
    TriggerMetersView(Defaults& defaults, CaptureManager& captureManager, int width,
                      QWidget* parent = nullptr);

    // Names the devices in use; the second camera's row shows only while
    // there is one. True when that row appeared or went.
    bool showDevices(const std::optional<QString>& camera,
                     const std::optional<QString>& secondCamera,
                     const std::optional<QString>& microphone);
    void motionLevel(int index, double level);
    void soundLevel(double level);
    // The meters stopped: every level falls to zero.
    void clearLevels();

    bool secondRowShown() const { return secondRowShown_; }
    QCheckBox* motionTriggerCheckbox() const { return motionTriggerCheckbox_; }
    QCheckBox* audioTriggerCheckbox() const { return audioTriggerCheckbox_; }
    MeterRowView* cameraRow(int index) const { return cameraRows_[index == 0 ? 0 : 1]; }
    MeterRowView* soundRow() const { return soundRow_; }

Q_SIGNALS:
    // The user turned motion or sound on or off.
    void triggerToggled();

private:
    QWidget* buildMotionColumn(int nameWidth);
    QWidget* buildSoundColumn(int nameWidth);
    void readTriggers();
    void cameraThresholdMoved(int index, int value);
    void showCameraThreshold(int index);
    void followCameras();
    double cameraThreshold(int index) const;

    Defaults& defaults_;
    CaptureManager& captureManager_;
    QCheckBox* motionTriggerCheckbox_ = nullptr;
    QCheckBox* audioTriggerCheckbox_ = nullptr;
    std::array<MeterRowView*, 2> cameraRows_{};
    // The unique ID of the camera each row shows (empty: none).
    std::array<QString, 2> rowCameras_;
    MeterRowView* soundRow_ = nullptr;
    bool secondRowShown_ = false;
};
