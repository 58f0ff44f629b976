#include "TestEnvironment.h"

#include <QDir>
#include <QStandardPaths>

TestEnvironment::TestEnvironment() : home_(dir_.path()) {
    qputenv("HOME", home_.toUtf8());
    qputenv("XDG_CONFIG_HOME", (home_ + QStringLiteral("/.config")).toUtf8());
    qputenv("XDG_DATA_HOME", (home_ + QStringLiteral("/.local/share")).toUtf8());
    qputenv("XDG_CACHE_HOME", (home_ + QStringLiteral("/.cache")).toUtf8());
    // No user-dirs.dirs file: the videos folder is $HOME/Videos.
    QDir(home_).mkpath(QStringLiteral(".config"));
    QStandardPaths::setTestModeEnabled(false);
}

QString TestEnvironment::settingsFilePath() const {
    return home_ + QStringLiteral("/.config/Nelvo/Nelvo.conf");
}
