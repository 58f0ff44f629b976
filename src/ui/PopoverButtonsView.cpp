#include "PopoverButtonsView.h"

#include <QHBoxLayout>
#include <QPushButton>
#include <QToolButton>

PopoverButtonsView::PopoverButtonsView(QWidget* parent) : QWidget(parent) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(4);

    //: Popover button that opens the camera preview
    previewButton_ = new QPushButton(tr("Preview"), this);
    previewButton_->setFlat(true);
    //: Tooltip of the popover's preview button
    previewButton_->setToolTip(tr("Show what the cameras see and draw detection zones"));
    connect(previewButton_, &QPushButton::clicked, this, &PopoverButtonsView::previewClicked);
    layout->addWidget(previewButton_);
    layout->addStretch(1);

    pinButton_ = new QToolButton(this);
    pinButton_->setCheckable(true);
    pinButton_->setAutoRaise(true);
    pinButton_->setIcon(QIcon::fromTheme(QStringLiteral("window-pin")));
    //: Popover toggle that keeps the popover open on clicks elsewhere
    pinButton_->setText(tr("Pin"));
    //: Tooltip of the popover's pin toggle
    pinButton_->setToolTip(tr("Keep this open when clicking elsewhere"));
    connect(pinButton_, &QToolButton::toggled, this, &PopoverButtonsView::pinToggled);
    layout->addWidget(pinButton_);

    menuButton_ = new QToolButton(this);
    menuButton_->setAutoRaise(true);
    menuButton_->setIcon(QIcon::fromTheme(QStringLiteral("open-menu")));
    //: Popover button that opens Nelvo's menu
    menuButton_->setText(tr("Menu"));
    menuButton_->setToolTip(menuButton_->text());
    connect(menuButton_, &QToolButton::clicked, this, &PopoverButtonsView::menuClicked);
    layout->addWidget(menuButton_);
    for (QToolButton* button : {pinButton_, menuButton_}) {
        button->setToolButtonStyle(button->icon().isNull() ? Qt::ToolButtonTextOnly
                                                           : Qt::ToolButtonIconOnly);
    }
}
