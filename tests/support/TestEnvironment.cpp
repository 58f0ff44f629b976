#include "TestEnvironment.h"

#include <QDir>
#include <QFile>
#include <QStandardPaths>

TestEnvironment::TestEnvironment() : home_(dir_.path()) {
    qputenv("HOME", home_.toUtf8());
    qputenv("XDG_CONFIG_HOME", (home_ + QStringLiteral("/.config")).toUtf8());
    qputenv("XDG_DATA_HOME", (home_ + QStringLiteral("/.local/share")).toUtf8());
    qputenv("XDG_CACHE_HOME", (home_ + QStringLiteral("/.cache")).toUtf8());
    // No session bus unless the test starts its own (PrivateBus): without an
    // address, D-Bus clients fall back to $XDG_RUNTIME_DIR/bus, so the runtime
    // folder is the test's own too (private, as the clients require).
    qunsetenv("DBUS_SESSION_BUS_ADDRESS");
    const QString runtime = home_ + QStringLiteral("/.runtime");
    QDir(home_).mkpath(QStringLiteral(".runtime"));
    QFile::setPermissions(runtime,
                          QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner);
    qputenv("XDG_RUNTIME_DIR", runtime.toUtf8());
    // No user-dirs.dirs file: the videos folder is $HOME/Videos.
    QDir(home_).mkpath(QStringLiteral(".config"));
    QStandardPaths::setTestModeEnabled(false);
}

QString TestEnvironment::settingsFilePath() const {
    return home_ + QStringLiteral("/.config/Nelvo/Nelvo.conf");
}
