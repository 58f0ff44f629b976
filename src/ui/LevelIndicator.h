#pragma once

#include <QColor>
#include <QWidget>

// A live level on a 0 to 100 scale as a continuous bar that turns to a
// warning colour near the trigger threshold and to a critical colour at it.
class LevelIndicator : public QWidget {
    Q_OBJECT

public:
    enum class Level { normal, warning, critical };

    static constexpr double maximum = 100;
    // The warning level's share of the threshold.
    static constexpr double warningShare = 0.75;

    explicit LevelIndicator(QWidget* parent = nullptr);

    double value() const { return value_; }
    void setValue(double value);
    double warningValue() const { return warningValue_; }
    double criticalValue() const { return criticalValue_; }
    // Warning at 0.75 x the threshold, critical at the threshold.
    void setThreshold(double threshold);

    Level level() const { return levelOf(value_, warningValue_, criticalValue_); }
    static Level levelOf(double value, double warningValue, double criticalValue);
    // The bar's colour for a level, from the palette where it has one.
    static QColor color(Level level, const QPalette& palette);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    double value_ = 0;
    double warningValue_ = maximum;
    double criticalValue_ = maximum;
};
