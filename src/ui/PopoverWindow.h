#pragma once

#include <QPointer>
#include <QRect>
#include <QWidget>
#include <functional>

// The window that holds the popover's content. Under the tray icon it is a
// popup placed under the icon (or at the pointer where the panel does not
// say where the icon is) that closes on a click anywhere else; pinned, it
// becomes a floating window that stays while the user works elsewhere. Where
// a window cannot place itself (Wayland) the compositor places it and it
// closes when another window takes the focus. Without any tray it is an
// ordinary window of its own.
class PopoverWindow : public QWidget {
    Q_OBJECT

public:
    enum class Placement { underIcon, byCompositor, standalone };

    // `shouldClose` answers whether an outside click may close the window
    // (false while the content is pinned).
    PopoverWindow(QWidget* content, Placement placement, std::function<bool()> shouldClose,
                  QWidget* parent = nullptr);

    Placement placement() const { return placement_; }
    // Moves the window to another placement (a tray came or went); an open
    // window is closed first, whatever its pin.
    void setPlacement(Placement placement);
    bool isPinned() const { return pinned_; }

    // Shows the window by the icon's geometry (empty: at the pointer).
    void showPopover(const QRect& iconGeometry = {});
    // Closes it unless it must stay; true when it is closed afterwards.
    bool closePopover();
    // The tray icon's click: closes an open window, shows a closed one.
    void toggle(const QRect& iconGeometry = {});
    // The content was pinned or unpinned: a pinned popup no longer holds the
    // pointer, so other windows can be used while it stays.
    void setPinned(bool pinned);
    // A line above the content (how to get a tray, for the standalone
    // window); an empty text removes it.
    void setHint(const QString& text);

    // Where a window of `size` goes: centred under an icon in the upper half
    // of the screen, above one in the lower half, at the pointer when the
    // icon's place is unknown, and always inside `screen`.
    static QPoint position(const QRect& iconGeometry, const QPoint& pointer, const QSize& size,
                           const QRect& screen);

Q_SIGNALS:
    // The window became seen, or stopped being seen: shown and not minimised.
    void didShow();
    void didClose();

protected:
    bool event(QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void changeEvent(QEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void applyWindowFlags();
    void place(const QRect& iconGeometry);
    void reposition();
    void setSeen(bool seen);

    QWidget* content_;
    Placement placement_;
    std::function<bool()> shouldClose_;
    bool pinned_ = false;
    bool seen_ = false;
    QPointer<QWidget> hint_;
    // Where the window was placed from (the icon, or the pointer where the
    // icon's place is unknown), kept so that a change of size re-places it.
    QRect iconGeometry_;
    QPoint pointer_;
};
