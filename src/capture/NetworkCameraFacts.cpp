#include "NetworkCameraFacts.h"

#include "MainThread.h"

void NetworkCameraFacts::post(const QPointer<NetworkCameraFacts>& facts, const QString& uniqueID,
                              double seconds) {
    MainThread::post([facts, uniqueID, seconds] {
        if (facts) {
            facts->setKeyframeSpacing(uniqueID, seconds);
        }
    });
}

void NetworkCameraFacts::setKeyframeSpacing(const QString& uniqueID, double seconds) {
    keyframeSpacing_.insert(uniqueID, seconds);
    Q_EMIT changed();
}

std::optional<double> NetworkCameraFacts::keyframeSpacing(const QString& uniqueID) const {
    const auto found = keyframeSpacing_.constFind(uniqueID);
    return found == keyframeSpacing_.constEnd() ? std::nullopt : std::optional(*found);
}
