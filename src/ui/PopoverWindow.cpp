#include "PopoverWindow.h"

#include <QCloseEvent>
#include <QCursor>
#include <QGuiApplication>
#include <QLabel>
#include <QMouseEvent>
#include <QPainter>
#include <QScreen>
#include <QVBoxLayout>

namespace {

// Space between the icon (or the pointer) and the window.
constexpr int gap = 4;

int clamped(int value, int low, int length, int room) {
    // A window larger than the screen keeps its start on screen.
    return std::max(low, std::min(value, low + room - length));
}

}  // namespace

PopoverWindow::PopoverWindow(QWidget* content, Placement placement,
                             std::function<bool()> shouldClose, QWidget* parent)
    : QWidget(parent),
      content_(content),
      placement_(placement),
      shouldClose_(std::move(shouldClose)) {
    setObjectName(QStringLiteral("popoverWindow"));
    //: The title of Nelvo's window where it has one (no tray, or Wayland)
    setWindowTitle(tr("Nelvo"));
    auto* layout = new QVBoxLayout(this);
    // The window always takes the content's preferred size.
    layout->setSizeConstraint(QLayout::SetFixedSize);
    layout->setSpacing(0);
    layout->addWidget(content_);
    applyWindowFlags();
}

void PopoverWindow::setPlacement(Placement placement) {
    if (placement == placement_) {
        return;
    }
    if (isVisible()) {
        close();
    }
    placement_ = placement;
    applyWindowFlags();
}

void PopoverWindow::applyWindowFlags() {
    const int border = placement_ == Placement::underIcon ? 1 : 0;
    layout()->setContentsMargins(border, border, border, border);
    Qt::WindowFlags flags = Qt::Window;
    if (placement_ == Placement::underIcon) {
        // A popup holds the pointer, which is what closes it on a click
        // anywhere else; pinned it lets go and floats above other windows.
        flags = pinned_ ? Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint
                        : Qt::Popup | Qt::FramelessWindowHint;
    }
    setWindowFlags(flags);
}

QPoint PopoverWindow::position(const QRect& iconGeometry, const QPoint& pointer, const QSize& size,
                               const QRect& screen) {
    const bool known = iconGeometry.isValid() && !iconGeometry.isEmpty();
    const QPoint anchor = known ? iconGeometry.center() : pointer;
    const int below = known ? iconGeometry.bottom() + 1 + gap : pointer.y() + gap;
    const int above = (known ? iconGeometry.top() : pointer.y()) - gap - size.height();
    const int x = anchor.x() - size.width() / 2;
    const int y = anchor.y() < screen.center().y() ? below : above;
    return {clamped(x, screen.left(), size.width(), screen.width()),
            clamped(y, screen.top(), size.height(), screen.height())};
}

void PopoverWindow::place(const QRect& iconGeometry) {
    iconGeometry_ = iconGeometry;
    pointer_ = QCursor::pos();
    adjustSize();
    reposition();
}

void PopoverWindow::reposition() {
    const bool known = iconGeometry_.isValid() && !iconGeometry_.isEmpty();
    QScreen* screen = QGuiApplication::screenAt(known ? iconGeometry_.center() : pointer_);
    if (!screen) {
        screen = QGuiApplication::primaryScreen();
    }
    if (!screen) {
        return;
    }
    move(position(iconGeometry_, pointer_, size(), screen->availableGeometry()));
}

void PopoverWindow::showPopover(const QRect& iconGeometry) {
    if (isVisible()) {
        raise();
        activateWindow();
        return;
    }
    if (placement_ == Placement::underIcon) {
        place(iconGeometry);
    }
    show();
    raise();
    activateWindow();
    setSeen(!isMinimized());
}

bool PopoverWindow::closePopover() {
    if (!isVisible()) {
        return true;
    }
    if (shouldClose_ && !shouldClose_()) {
        return false;
    }
    close();
    return !isVisible();
}

void PopoverWindow::toggle(const QRect& iconGeometry) {
    if (isVisible()) {
        closePopover();
    } else {
        showPopover(iconGeometry);
    }
}

void PopoverWindow::setPinned(bool pinned) {
    if (pinned == pinned_) {
        return;
    }
    pinned_ = pinned;
    if (placement_ != Placement::underIcon) {
        return;
    }
    // New window flags take effect on a hidden window; it comes back where it was.
    const bool visible = isVisible();
    const QPoint at = pos();
    applyWindowFlags();
    if (visible) {
        move(at);
        show();
        raise();
        activateWindow();
    }
}

void PopoverWindow::setHint(const QString& text) {
    if (text.isEmpty()) {
        delete hint_.data();
        return;
    }
    if (!hint_) {
        auto* label = new QLabel(this);
        label->setObjectName(QStringLiteral("trayHint"));
        label->setWordWrap(true);
        label->setMargin(12);
        label->setFixedWidth(content_->sizeHint().width());
        static_cast<QVBoxLayout*>(layout())->insertWidget(0, label);
        hint_ = label;
    }
    auto* label = static_cast<QLabel*>(hint_.data());
    label->setText(text);
    // A wrapped line's height follows its width, which the window's fixed
    // size constraint would not ask for.
    label->setFixedHeight(label->heightForWidth(label->width()));
}

bool PopoverWindow::event(QEvent* event) {
    // Where the compositor places the window, another window taking the
    // focus is the click elsewhere.
    if (event->type() == QEvent::WindowDeactivate && placement_ == Placement::byCompositor &&
        isVisible() && (!shouldClose_ || shouldClose_())) {
        close();
    }
    if (event->type() == QEvent::Paint && placement_ == Placement::underIcon) {
        QWidget::event(event);
        QPainter painter(this);
        painter.setPen(palette().color(QPalette::Mid));
        painter.drawRect(rect().adjusted(0, 0, -1, -1));
        return true;
    }
    return QWidget::event(event);
}

void PopoverWindow::mousePressEvent(QMouseEvent* event) {
    // A popup closes on a press outside it, unless it must stay.
    if (windowType() == Qt::Popup && !rect().contains(event->position().toPoint()) &&
        shouldClose_ && !shouldClose_()) {
        event->accept();
        return;
    }
    QWidget::mousePressEvent(event);
}

void PopoverWindow::closeEvent(QCloseEvent* event) {
    event->accept();
    setSeen(false);
}

// A minimised window cannot be seen: it counts as closed until restored.
void PopoverWindow::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::WindowStateChange && isVisible()) {
        setSeen(!isMinimized());
    }
}

// The content grows and shrinks (a notice, a second camera): under the icon
// the window keeps its place beside it, so it never covers the panel.
void PopoverWindow::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    if (placement_ == Placement::underIcon && isVisible()) {
        reposition();
    }
}

void PopoverWindow::setSeen(bool seen) {
    if (seen == seen_) {
        return;
    }
    seen_ = seen;
    if (seen) {
        Q_EMIT didShow();
    } else {
        Q_EMIT didClose();
    }
}
