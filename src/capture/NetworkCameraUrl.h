#pragma once

#include <QString>
#include <QUrl>
#include <optional>

// The address of a network camera: an RTSP stream (rtsp://, rtsps://) or an
// HTTP MJPEG stream (http://, https://). A user name and password typed into
// the address are split off on reading, so that the address Nelvo keeps,
// shows and logs never holds them.
class NetworkCameraUrl {
public:
    enum class Kind { rtsp, mjpeg };

    // Null when the text is not an address Nelvo can watch; `problem` then
    // says why in plain words.
    static std::optional<NetworkCameraUrl> parse(const QString& text, QString* problem = nullptr);

    Kind kind() const { return kind_; }
    // The address without user name and password.
    const QUrl& url() const { return url_; }
    QString address() const { return url_.toString(QUrl::FullyEncoded); }
    // What was typed into the address, if anything.
    const QString& userName() const { return userName_; }
    const QString& password() const { return password_; }
    bool hasCredentials() const { return !userName_.isEmpty() || !password_.isEmpty(); }

    // The camera's ID, the same whatever credentials come with it: "net:"
    // and the address with its scheme and host in lower case and a default
    // port left out.
    QString uniqueID() const;
    // A short name for menus, logs and file names: the host, with its port
    // when the port is not the scheme's usual one.
    QString name() const;

private:
    NetworkCameraUrl() = default;

    Kind kind_ = Kind::rtsp;
    QUrl url_;
    QString userName_;
    QString password_;
};
