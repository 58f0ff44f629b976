#include "FileManager.h"

#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDesktopServices>
#include <QFileInfo>
#include <QUrl>

namespace {

void call(const QString& method, const QStringList& paths, const QString& fallbackFolder,
          QDBusConnection bus) {
    QDBusMessage message =
        QDBusMessage::createMethodCall(QStringLiteral("org.freedesktop.FileManager1"),
                                       QStringLiteral("/org/freedesktop/FileManager1"),
                                       QStringLiteral("org.freedesktop.FileManager1"), method);
    QStringList uris;
    for (const QString& path : paths) {
        uris << QUrl::fromLocalFile(path).toString();
    }
    message << uris << QString();
    auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(message));
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished,
                     [fallbackFolder](QDBusPendingCallWatcher* finished) {
                         if (finished->isError()) {
                             QDesktopServices::openUrl(QUrl::fromLocalFile(fallbackFolder));
                         }
                         finished->deleteLater();
                     });
}

}  // namespace

void FileManager::showItems(const QStringList& filePaths, QDBusConnection bus) {
    if (filePaths.isEmpty()) {
        return;
    }
    call(QStringLiteral("ShowItems"), filePaths, QFileInfo(filePaths.first()).absolutePath(), bus);
}

void FileManager::showFolder(const QString& folderPath, QDBusConnection bus) {
    call(QStringLiteral("ShowFolders"), {folderPath}, folderPath, bus);
}
