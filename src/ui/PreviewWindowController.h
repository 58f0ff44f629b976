#pragma once

#include <QObject>
#include <QPointer>
#include <QWidget>

class CaptureManager;
class Defaults;
class PreviewViewController;

// The preview window: what the cameras see, with their zone editors. While
// it is visible the capture manager makes preview pictures; closing it, by
// toggle() or by the window's own close button, stops them.
class PreviewWindowController : public QObject {
    Q_OBJECT

public:
    PreviewWindowController(CaptureManager& manager, Defaults& defaults, QWidget* parent = nullptr);
    ~PreviewWindowController() override;

    void show();
    void close();
    void toggle();
    bool isVisible() const;

    QWidget* window() const { return window_; }
    PreviewViewController* viewController() const { return viewController_; }

Q_SIGNALS:
    void closed();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void updateCameras();
    void setOpen(bool open);

    CaptureManager& manager_;
    QPointer<QWidget> window_;
    PreviewViewController* viewController_;
};
