#pragma once

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QTimer>

class QTcpServer;
class QTcpSocket;

// A network camera for tests: an HTTP server on 127.0.0.1 that sends an MJPEG
// stream (multipart/x-mixed-replace, one JPEG picture per part) of a picture
// that changes every frame, optionally behind basic authentication. Runs on
// the thread that made it, from its event loop.
class MjpegServer : public QObject {
    Q_OBJECT
public:
    // An empty user name serves everyone.
    explicit MjpegServer(int framesPerSecond = 15, QByteArray user = {}, QByteArray password = {});
    ~MjpegServer() override;

    int port() const;
    int clients() const { return static_cast<int>(streaming_.size()); }

private:
    void accept();
    void answer(QTcpSocket* socket);
    void sendFrame();

    QTcpServer* server_;
    QTimer timer_;
    QByteArray expectedAuthorization_;
    QList<QTcpSocket*> streaming_;
    int frame_ = 0;
};
