#pragma once

#include <QProcess>
#include <QString>

// An X server of the test's own (Xvfb) on a free display number, for what
// only a real window system shows: tray icons, mapped windows, screenshots.
class VirtualDisplay {
public:
    VirtualDisplay() = default;
    ~VirtualDisplay();
    VirtualDisplay(const VirtualDisplay&) = delete;
    VirtualDisplay& operator=(const VirtualDisplay&) = delete;

    // Starts the server and waits until it takes connections.
    bool start();
    // ":N", empty until started.
    const QString& name() const { return name_; }

    // Whether a top-level window of that title is mapped and at least this wide.
    bool windowShown(const QString& title, int minimumWidth) const;

private:
    QProcess server_;
    QString name_;
};
