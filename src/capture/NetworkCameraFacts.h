#pragma once

#include <QHash>
#include <QObject>
#include <QString>
#include <mutex>
#include <optional>

// What Nelvo has learnt about its network cameras while watching them, for
// the windows that explain a camera's behaviour: for now how far apart its
// keyframes are. Cameras tell it from their stream threads; `changed` is
// delivered on the main thread, queued, so no window ever waits on a camera.
class NetworkCameraFacts : public QObject {
    Q_OBJECT
public:
    // The one list of the process (it lives on the main thread).
    static NetworkCameraFacts& shared();

    // Any thread.
    void setKeyframeSpacing(const QString& uniqueID, double seconds);
    std::optional<double> keyframeSpacing(const QString& uniqueID) const;

Q_SIGNALS:
    void changed();

private:
    using QObject::QObject;

    mutable std::mutex mutex_;
    QHash<QString, double> keyframeSpacing_;
};
