#include "NetworkCameraLogin.h"

#include "NetworkCameraUrl.h"
#include "SecretStore.h"

#include <sys/stat.h>
#include <QCoreApplication>
#include <QFile>
#include <cerrno>
#include <cstring>

namespace {

QString tr(const char* text) {
    return QCoreApplication::translate("NetworkCameraLogin", text);
}

}  // namespace

std::optional<QString> NetworkCameraLogin::problem(const QString& url,
                                                   const QString& credentialsFile,
                                                   NetworkCredentials* credentials) {
    if (url.isEmpty()) {
        if (!credentialsFile.isEmpty()) {
            //: Command line: keep the option names as they are
            return tr("--credentials-file goes with --camera-url.");
        }
        return std::nullopt;
    }
    QString why;
    const std::optional<NetworkCameraUrl> camera = NetworkCameraUrl::parse(url, &why);
    if (!camera) {
        //: %1 is why the address cannot be used
        return tr("Nelvo can't watch that camera: %1").arg(why);
    }
    if (camera->hasCredentials()) {
        //: Command line: keep the option name as it is
        return tr(
            "Nelvo takes no user name or password on the command line, where others can "
            "read them: put them in a file named by --credentials-file, or in the secret "
            "service.");
    }
    if (!credentialsFile.isEmpty()) {
        return readFile(credentialsFile, credentials);
    }
    if (const std::optional<NetworkCredentials> stored = SecretStore::lookup(camera->uniqueID())) {
        *credentials = *stored;
    }
    return std::nullopt;
}

std::optional<QString> NetworkCameraLogin::readFile(const QString& path,
                                                    NetworkCredentials* credentials) {
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly)) {
        //: %1 a file's path, %2 the system's reason
        return tr("Nelvo can't read the credentials file %1: %2").arg(path, file.errorString());
    }
    struct stat status {};
    if (::fstat(file.handle(), &status) != 0) {
        return tr("Nelvo can't read the credentials file %1: %2")
            .arg(path, QString::fromLocal8Bit(std::strerror(errno)));
    }
    if ((status.st_mode & (S_IRWXG | S_IRWXO)) != 0) {
        //: %1 a file's path; keep the command as it is
        return tr("Nelvo won't read the credentials file %1: other users can read it. Make it "
                  "private with: chmod 600 %1")
            .arg(path);
    }
    NetworkCredentials read;
    int number = 0;
    while (!file.atEnd()) {
        ++number;
        const QString line = QString::fromUtf8(file.readLine()).remove(u'\n').remove(u'\r');
        if (line.trimmed().isEmpty() || line.trimmed().startsWith(u'#')) {
            continue;
        }
        if (line.startsWith(u"user=")) {
            read.user = line.mid(5);
        } else if (line.startsWith(u"password=")) {
            read.password = line.mid(9);
        } else {
            //: %1 a file's path, %2 a line number; keep user= and password= as they are
            return tr("Nelvo can't use the credentials file %1: line %2 is neither user= nor "
                      "password=.")
                .arg(path)
                .arg(number);
        }
    }
    *credentials = read;
    return std::nullopt;
}
