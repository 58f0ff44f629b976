#pragma once

#include <QWidget>

class QPushButton;
class QToolButton;

// The popover's bottom bar: the preview button, then the pin that keeps the
// popover open and the button of Nelvo's menu.
class PopoverButtonsView : public QWidget {
    Q_OBJECT
public:
    explicit PopoverButtonsView(QWidget* parent = nullptr);

    QPushButton* previewButton() const { return previewButton_; }
    QToolButton* pinButton() const { return pinButton_; }
    QToolButton* menuButton() const { return menuButton_; }

Q_SIGNALS:
    void previewClicked();
    void pinToggled(bool pinned);
    void menuClicked();

private:
    QPushButton* previewButton_ = nullptr;
    QToolButton* pinButton_ = nullptr;
    QToolButton* menuButton_ = nullptr;
};
