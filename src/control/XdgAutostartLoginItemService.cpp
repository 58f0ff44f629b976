#include "XdgAutostartLoginItemService.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>
#include <QSettings>
#include <QStandardPaths>
#include <QTextStream>
#include <QUrl>

namespace {

Error fileError(const QString& description) {
    return Error{Error::fileDomain, 0, description, nullptr};
}

// The program an entry's Exec line starts (its first word); empty when the
// entry is missing or has none.
QString execProgram(const QString& entryPath) {
    const QSettings entry(entryPath, QSettings::IniFormat);
    return entry.value(QStringLiteral("Desktop Entry/Exec")).toString().section(u' ', 0, 0);
}

}  // namespace

XdgAutostartLoginItemService::XdgAutostartLoginItemService(QString executable,
                                                           QStringList arguments,
                                                           QString autostartFolder)
    : executable_(std::move(executable)),
      arguments_(std::move(arguments)),
      folder_(autostartFolder.isEmpty()
                  ? QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation) +
                        QStringLiteral("/autostart")
                  : std::move(autostartFolder)) {}

QString XdgAutostartLoginItemService::entryPath() const {
    return folder_ + u'/' + fileName;
}

LoginItemService::Status XdgAutostartLoginItemService::status() const {
    QFile file(entryPath());
    if (!file.open(QIODevice::ReadOnly | QIODevice::Text)) {
        return Status::notRegistered;
    }
    QTextStream stream(&file);
    while (!stream.atEnd()) {
        const QString line = stream.readLine().trimmed();
        if (line.compare(u"Hidden=true", Qt::CaseInsensitive) == 0 ||
            line.compare(u"X-GNOME-Autostart-enabled=false", Qt::CaseInsensitive) == 0) {
            return Status::notRegistered;
        }
    }
    return Status::enabled;
}

QString XdgAutostartLoginItemService::entryText() const {
    QStringList exec{execArgument(executable_)};
    for (const QString& argument : arguments_) {
        exec.append(execArgument(argument));
    }
    return QStringLiteral(
               "[Desktop Entry]\n"
               "Type=Application\n"
               "Name=Nelvo\n"
               "Comment=Records movies when the camera sees motion or the microphone hears sound\n"
               "Icon=io.nelvo.Nelvo\n"
               "Exec=%1\n"
               "Terminal=false\n"
               "X-GNOME-Autostart-enabled=true\n")
        .arg(exec.join(u' '));
}

std::optional<Error> XdgAutostartLoginItemService::registerItem() {
    if (!QDir().mkpath(folder_)) {
        return fileError(QStringLiteral("Could not create the folder %1.").arg(folder_));
    }
    QSaveFile file(entryPath());
    if (!file.open(QIODevice::WriteOnly | QIODevice::Text)) {
        return fileError(file.errorString());
    }
    file.write(entryText().toUtf8());
    if (!file.commit()) {
        return fileError(file.errorString());
    }
    return std::nullopt;
}

bool XdgAutostartLoginItemService::correctEntry() {
    if (status() != Status::enabled) {
        return false;
    }
    const QString program = execProgram(entryPath());
    // Only the program is corrected; the options the user launched with stay theirs.
    if (program == execArgument(executable_)) {
        return false;
    }
    return !registerItem().has_value();
}

QString XdgAutostartLoginItemService::launcherProgram(const QString& runningBinary,
                                                      QStringList dataFolders) {
    if (dataFolders.isEmpty()) {
        dataFolders = QStandardPaths::standardLocations(QStandardPaths::GenericDataLocation);
    }
    const QString running = QFileInfo(runningBinary).canonicalFilePath();
    for (const QString& folder : dataFolders) {
        const QString program = execProgram(folder + QStringLiteral("/applications/") + fileName);
        if (program.isEmpty()) {
            continue;
        }
        const QString resolved =
            QFileInfo(program).isAbsolute() ? program : QStandardPaths::findExecutable(program);
        if (!resolved.isEmpty() && QFileInfo(resolved).canonicalFilePath() == running) {
            return program;
        }
    }
    return runningBinary;
}

std::optional<Error> XdgAutostartLoginItemService::unregisterItem() {
    QFile file(entryPath());
    if (file.exists() && !file.remove()) {
        return fileError(file.errorString());
    }
    return std::nullopt;
}

// A network camera's user name and password never go into the entry (Nelvo
// refuses them on its command line anyway); the credentials file's path does.
static QString withoutUserInfo(const QString& address) {
    QUrl url(address);
    if (url.userInfo().isEmpty()) {
        return address;
    }
    url.setUserInfo(QString());
    return url.toString();
}

QStringList XdgAutostartLoginItemService::argumentsThatMatter(const QStringList& commandLine) {
    QStringList kept;
    for (qsizetype i = 1; i < commandLine.size(); ++i) {
        const QString& argument = commandLine.at(i);
        if (argument == u"--headless" || argument == u"--demo" ||
            argument.startsWith(u"--camera-file=") || argument.startsWith(u"--credentials-file=")) {
            kept.append(argument);
        } else if (argument.startsWith(u"--camera-url=")) {
            kept.append(QStringLiteral("--camera-url=") + withoutUserInfo(argument.mid(13)));
        } else if ((argument == u"--camera-file" || argument == u"--credentials-file") &&
                   i + 1 < commandLine.size()) {
            kept.append({argument, commandLine.at(++i)});
        } else if (argument == u"--camera-url" && i + 1 < commandLine.size()) {
            kept.append({argument, withoutUserInfo(commandLine.at(++i))});
        }
    }
    return kept;
}

QString XdgAutostartLoginItemService::execArgument(const QString& argument) {
    constexpr QStringView reserved = u" \t\n\"'\\><~|&;$*?#()`";
    QString text = argument;
    text.replace(u'%', QStringLiteral("%%"));
    const bool needsQuotes =
        text.isEmpty() ||
        std::any_of(text.begin(), text.end(), [reserved](QChar c) { return reserved.contains(c); });
    if (!needsQuotes) {
        return text;
    }
    QString quoted;
    for (QChar c : text) {
        if (c == u'"' || c == u'`' || c == u'$' || c == u'\\') {
            quoted += u'\\';
        }
        quoted += c;
    }
    // The value of a desktop-entry key escapes every backslash once more.
    quoted.replace(u'\\', QStringLiteral("\\\\"));
    return u'"' + quoted + u'"';
}
