#pragma once

#include <QWidget>

class LevelIndicator;
class QLabel;
class QSlider;

// One meter of the popover: the name of the device it measures, its live
// level, and the slider that sets the level that triggers a recording. The
// meter shows the slider's threshold as the user moves it.
class MeterRowView : public QWidget {
    Q_OBJECT
public:
    // `nameWidth` is the room the device's name has; `sliderTip` explains
    // the slider.
    MeterRowView(int nameWidth, const QString& sliderTip, QWidget* parent = nullptr);

    // Long names are cut in the middle, where they differ least.
    void setDeviceName(const QString& name);
    // A new measurement, smoothed with the one shown.
    void addLevel(double level);
    // The device stopped: the meter falls to zero.
    void clearLevel();
    // The level shown, and showing one as it is (no smoothing).
    double level() const;
    void setLevel(double level);
    // The threshold the meter marks; the slider is left where it is.
    void showThreshold(double threshold);
    // Puts the slider at this threshold without reporting a move.
    void setSliderThreshold(int threshold);

    QLabel* deviceLabel() const { return deviceLabel_; }
    LevelIndicator* levelIndicator() const { return levelIndicator_; }
    QSlider* slider() const { return slider_; }

Q_SIGNALS:
    // The user moved the slider.
    void thresholdMoved(int threshold);

private:
    int nameWidth_;
    QLabel* deviceLabel_ = nullptr;
    LevelIndicator* levelIndicator_ = nullptr;
    QSlider* slider_ = nullptr;
};
