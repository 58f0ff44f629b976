#include "NetworkCameraFacts.h"

#include <QCoreApplication>

NetworkCameraFacts& NetworkCameraFacts::shared() {
    static NetworkCameraFacts* const facts = [] {
        auto* made = new NetworkCameraFacts;
        if (QCoreApplication* app = QCoreApplication::instance()) {
            made->moveToThread(app->thread());
        }
        return made;
    }();
    return *facts;
}

void NetworkCameraFacts::setKeyframeSpacing(const QString& uniqueID, double seconds) {
    {
        std::lock_guard guard(mutex_);
        keyframeSpacing_.insert(uniqueID, seconds);
    }
    QMetaObject::invokeMethod(
        this, [this] { Q_EMIT changed(); }, Qt::QueuedConnection);
}

std::optional<double> NetworkCameraFacts::keyframeSpacing(const QString& uniqueID) const {
    std::lock_guard guard(mutex_);
    const auto found = keyframeSpacing_.constFind(uniqueID);
    return found == keyframeSpacing_.constEnd() ? std::nullopt : std::optional(*found);
}
