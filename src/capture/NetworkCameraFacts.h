#pragma once

#include <QHash>
#include <QObject>
#include <QPointer>
#include <QString>
#include <optional>

// What Nelvo has learnt about its network cameras while watching them, for
// the windows that explain a camera's behaviour: for now how far apart its
// keyframes are. It lives on the main thread; cameras tell it from their
// stream threads through `post`, queued, so neither side ever waits.
class NetworkCameraFacts : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;

    // Any thread: the spacing reaches `facts` on the main thread, unless
    // it is gone by then.
    static void post(const QPointer<NetworkCameraFacts>& facts, const QString& uniqueID,
                     double seconds);

    // Main thread.
    void setKeyframeSpacing(const QString& uniqueID, double seconds);
    std::optional<double> keyframeSpacing(const QString& uniqueID) const;

Q_SIGNALS:
    void changed();

private:
    QHash<QString, double> keyframeSpacing_;
};
