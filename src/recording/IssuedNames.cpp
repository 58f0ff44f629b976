#include "IssuedNames.h"

#include <sys/stat.h>
#include <QFile>

bool IssuedNames::isTaken(const QString& path) const {
    return paths_.contains(path) || itemExists(path);
}

void IssuedNames::issue(const QString& path) {
    paths_.removeIf([](const QString& kept) { return itemExists(kept); });
    paths_.insert(path);
}

bool IssuedNames::itemExists(const QString& path) {
    struct stat st {};
    return lstat(QFile::encodeName(path).constData(), &st) == 0;
}
