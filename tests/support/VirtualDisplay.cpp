#include "VirtualDisplay.h"

#include <QRegularExpression>
#include <QStringList>

namespace {

QString run(const QString& program, const QStringList& arguments, const QString& display) {
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DISPLAY"), display);
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    process.waitForFinished(10000);
    return QString::fromUtf8(process.readAllStandardOutput());
}

}  // namespace

VirtualDisplay::~VirtualDisplay() {
    if (server_.state() != QProcess::NotRunning) {
        server_.terminate();
        server_.waitForFinished(5000);
    }
}

bool VirtualDisplay::start() {
    // The server writes the display number it chose, once it listens.
    server_.start(QStringLiteral("Xvfb"),
                  {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-screen"),
                   QStringLiteral("0"), QStringLiteral("1280x800x24"), QStringLiteral("-nolisten"),
                   QStringLiteral("tcp")});
    if (!server_.waitForStarted(5000)) {
        return false;
    }
    QByteArray number;
    while (!number.contains('\n')) {
        if (!server_.waitForReadyRead(10000)) {
            return false;
        }
        number += server_.readAllStandardOutput();
    }
    name_ = u':' + QString::fromLatin1(number.trimmed());
    return true;
}

bool VirtualDisplay::windowShown(const QString& title, int minimumWidth) const {
    const QString tree =
        run(QStringLiteral("xwininfo"), {QStringLiteral("-root"), QStringLiteral("-tree")}, name_);
    // e.g.    0x200006 "Nelvo": ("nelvo" "Nelvo")  322x242+479+154  +479+154
    const QRegularExpression line(QStringLiteral("^\\s*(0x[0-9a-f]+) \"%1\":.*\\s(\\d+)x(\\d+)\\+")
                                      .arg(QRegularExpression::escape(title)),
                                  QRegularExpression::MultilineOption);
    for (auto it = line.globalMatch(tree); it.hasNext();) {
        const QRegularExpressionMatch match = it.next();
        if (match.captured(2).toInt() < minimumWidth) {
            continue;
        }
        const QString info =
            run(QStringLiteral("xwininfo"), {QStringLiteral("-id"), match.captured(1)}, name_);
        if (info.contains(QStringLiteral("Map State: IsViewable"))) {
            return true;
        }
    }
    return false;
}
