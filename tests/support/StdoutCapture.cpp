#include "StdoutCapture.h"

#include <unistd.h>
#include <QFile>
#include <QStringList>
#include <cstdio>

StdoutCapture::StdoutCapture() {
    if (!file_.open()) {
        qFatal("Cannot create a file to capture standard output");
    }
    std::fflush(stdout);
    savedStdout_ = ::dup(STDOUT_FILENO);
    ::dup2(file_.handle(), STDOUT_FILENO);
}

StdoutCapture::~StdoutCapture() {
    restore();
}

void StdoutCapture::restore() {
    if (savedStdout_ < 0) {
        return;
    }
    std::fflush(stdout);
    ::dup2(savedStdout_, STDOUT_FILENO);
    ::close(savedStdout_);
    savedStdout_ = -1;
}

QString StdoutCapture::take() {
    restore();
    return text();
}

QString StdoutCapture::text() const {
    std::fflush(stdout);
    QFile reader(file_.fileName());
    if (!reader.open(QIODevice::ReadOnly)) {
        return {};
    }
    return QString::fromUtf8(reader.readAll());
}

QStringList StdoutCapture::lines() const {
    return text().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}
