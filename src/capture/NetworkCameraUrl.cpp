#include "NetworkCameraUrl.h"

#include <QCoreApplication>

namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("NetworkCameraUrl", text);
}

int defaultPort(const QString& scheme) {
    if (scheme == u"rtsp") {
        return 554;
    }
    if (scheme == u"rtsps") {
        return 322;
    }
    if (scheme == u"https") {
        return 443;
    }
    return 80;
}

}  // namespace

std::optional<NetworkCameraUrl> NetworkCameraUrl::parse(const QString& text, QString* problem) {
    auto refuse = [problem](const QString& why) -> std::optional<NetworkCameraUrl> {
        if (problem) {
            *problem = why;
        }
        return std::nullopt;
    };
    QUrl url(text.trimmed(), QUrl::StrictMode);
    if (!url.isValid() || url.host().isEmpty()) {
        //: A network camera's address could not be read
        return refuse(tr("This is not a camera address."));
    }
    const QString scheme = url.scheme().toLower();
    NetworkCameraUrl result;
    if (scheme == u"rtsp" || scheme == u"rtsps") {
        result.kind_ = Kind::rtsp;
    } else if (scheme == u"http" || scheme == u"https") {
        result.kind_ = Kind::mjpeg;
    } else {
        //: A network camera's address starts with another scheme; keep the schemes as they are
        return refuse(tr("A camera address starts with rtsp://, rtsps://, http:// or https://."));
    }
    result.userName_ = url.userName(QUrl::FullyDecoded);
    result.password_ = url.password(QUrl::FullyDecoded);
    url.setUserInfo(QString());
    url.setScheme(scheme);
    url.setHost(url.host().toLower());
    if (url.port() == defaultPort(scheme)) {
        url.setPort(-1);
    }
    url.setFragment(QString());
    if (url.path().isEmpty()) {
        url.setPath(QStringLiteral("/"));
    }
    result.url_ = url;
    return result;
}

QString NetworkCameraUrl::uniqueID() const {
    return QStringLiteral("net:") + address();
}

QString NetworkCameraUrl::name() const {
    return url_.port() < 0 ? url_.host()
                           : QStringLiteral("%1:%2").arg(url_.host()).arg(url_.port());
}
