#pragma once

// nelvo-test-rtsp-server for a test: started with the arguments given, its
// user name "garden" and password (when --auth is asked for) in a private
// file so they never show in the process list.
#include <QFile>
#include <QProcess>
#include <QRandomGenerator>
#include <QString>
#include <QStringList>
#include <memory>

class RtspTestCamera {
public:
    RtspTestCamera(const QString& home, QStringList arguments) {
        if (arguments.contains(QStringLiteral("--auth"))) {
            const QString file = home + QStringLiteral("/rtsp-credentials");
            QFile credentials(file);
            if (credentials.open(QIODevice::WriteOnly)) {
                credentials.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
                credentials.write("user=garden\npassword=" + password().toUtf8() + '\n');
            }
            arguments << QStringLiteral("--credentials-file") << file;
        }
        server_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        server_.start(QStringLiteral(NELVO_RTSP_SERVER), arguments);
        if (server_.waitForStarted() && server_.waitForReadyRead(20000)) {
            // "listening on PORT"
            port_ = QString::fromUtf8(server_.readLine()).trimmed().section(u' ', 2).toInt();
        }
    }
    ~RtspTestCamera() {
        server_.kill();
        server_.waitForFinished();
    }

    // Unique to this run, so a search for it finds nothing else.
    static const QString& password() {
        static const QString secret =
            QStringLiteral("Pw%1q").arg(QRandomGenerator::global()->generate());
        return secret;
    }
    int port() const { return port_; }
    QString url() const { return QStringLiteral("rtsp://127.0.0.1:%1/cam").arg(port_); }

private:
    QProcess server_;
    int port_ = 0;
};
