#include "MjpegServer.h"

#include <QBuffer>
#include <QImage>
#include <QPainter>
#include <QTcpServer>
#include <QTcpSocket>

namespace {

constexpr char boundary[] = "nelvoframe";

}  // namespace

MjpegServer::MjpegServer(int framesPerSecond, QByteArray user, QByteArray password)
    : server_(new QTcpServer(this)) {
    if (!user.isEmpty()) {
        expectedAuthorization_ = "Basic " + (user + ':' + password).toBase64();
    }
    server_->listen(QHostAddress::LocalHost, 0);
    connect(server_, &QTcpServer::newConnection, this, &MjpegServer::accept);
    connect(&timer_, &QTimer::timeout, this, &MjpegServer::sendFrame);
    timer_.start(1000 / framesPerSecond);
}

MjpegServer::~MjpegServer() = default;

int MjpegServer::port() const {
    return server_->serverPort();
}

void MjpegServer::accept() {
    while (QTcpSocket* socket = server_->nextPendingConnection()) {
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { answer(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] {
            streaming_.removeAll(socket);
            socket->deleteLater();
        });
    }
}

// Reads the request's head; answers 401 to a wrong or missing password,
// else starts streaming to it.
void MjpegServer::answer(QTcpSocket* socket) {
    if (streaming_.contains(socket) || !socket->canReadLine()) {
        return;
    }
    QByteArray head;
    while (!head.endsWith("\r\n\r\n") && socket->bytesAvailable() > 0) {
        head += socket->readLine();
    }
    if (!head.endsWith("\r\n\r\n")) {
        return;
    }
    if (!expectedAuthorization_.isEmpty() &&
        !head.contains("Authorization: " + expectedAuthorization_ + "\r\n")) {
        socket->write(
            "HTTP/1.1 401 Unauthorized\r\nWWW-Authenticate: Basic realm=\"camera\"\r\n"
            "Content-Length: 0\r\n\r\n");
        return;
    }
    socket->write(
        QByteArray("HTTP/1.0 200 OK\r\nContent-Type: multipart/x-mixed-replace;boundary=") +
        boundary + "\r\n\r\n");
    streaming_.append(socket);
}

// A 640x360 picture with a square that moves a little every frame.
void MjpegServer::sendFrame() {
    ++frame_;
    if (streaming_.isEmpty()) {
        return;
    }
    QImage image(640, 360, QImage::Format_RGB32);
    image.fill(QColor(40, 90, 160));
    QPainter painter(&image);
    painter.fillRect((frame_ * 8) % 560, 140, 80, 80, Qt::yellow);
    painter.end();
    QByteArray jpeg;
    QBuffer buffer(&jpeg);
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "JPEG", 80);
    const QByteArray part =
        QByteArray("--") + boundary +
        "\r\nContent-Type: image/jpeg\r\nContent-Length: " + QByteArray::number(jpeg.size()) +
        "\r\n\r\n" + jpeg + "\r\n";
    for (QTcpSocket* socket : std::as_const(streaming_)) {
        socket->write(part);
    }
}
