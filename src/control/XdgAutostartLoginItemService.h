#pragma once

#include "LoginItemService.h"

#include <QString>
#include <QStringList>

// Opens Nelvo at login through an XDG autostart entry,
// ~/.config/autostart/io.nelvo.Nelvo.desktop. The entry starts the same
// program with the options of this run that change what Nelvo is (headless,
// demo devices, a file as the camera). An entry the desktop's settings turned
// off (Hidden=true or X-GNOME-Autostart-enabled=false) counts as not registered.
class XdgAutostartLoginItemService : public LoginItemService {
public:
    static inline const QString fileName = QStringLiteral("io.nelvo.Nelvo.desktop");

    // `autostartFolder` empty: $XDG_CONFIG_HOME/autostart.
    XdgAutostartLoginItemService(QString executable, QStringList arguments,
                                 QString autostartFolder = {});

    Status status() const override;
    std::optional<Error> registerItem() override;
    std::optional<Error> unregisterItem() override;

    QString entryPath() const;
    // The entry's text, as registerItem() writes it.
    QString entryText() const;

    // Rewrites a registered entry that starts another program than this one,
    // for example one left by a run from a build folder once Nelvo is
    // installed. True when it rewrote the entry.
    bool correctEntry();

    // The program an entry should start: the installed launcher entry's Exec
    // program when that resolves to the running binary (so an upgrade or a
    // move along PATH keeps working), else the running binary's own path.
    // `dataFolders` empty: the XDG data folders.
    static QString launcherProgram(const QString& runningBinary, QStringList dataFolders = {});

    // The options of a command line that a login launch must repeat.
    static QStringList argumentsThatMatter(const QStringList& commandLine);
    // One argument of an Exec line, quoted and escaped as desktop entries require.
    static QString execArgument(const QString& argument);

private:
    QString executable_;
    QStringList arguments_;
    QString folder_;
};
