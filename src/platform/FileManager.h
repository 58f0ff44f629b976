#pragma once

#include <QDBusConnection>
#include <QStringList>

// The desktop's file manager, reached through its org.freedesktop.FileManager1
// service without waiting for it; where none answers, the folder is opened
// with the desktop's default handler instead.
namespace FileManager {

// Shows the files selected in their folder.
void showItems(const QStringList& filePaths, QDBusConnection bus = QDBusConnection::sessionBus());
// Opens the folder itself.
void showFolder(const QString& folderPath, QDBusConnection bus = QDBusConnection::sessionBus());

}  // namespace FileManager
