#pragma once

#include <unistd.h>
#include <QByteArray>
#include <QString>
#include <QTemporaryFile>
#include <cstdio>

// Sends standard output to a file while it lives, so a test can read the
// log lines a call printed. Keep it around the call only: Qt Test's own
// messages would be captured too.
class StdoutCapture {
public:
    StdoutCapture() {
        std::fflush(stdout);
        file_.open();
        saved_ = dup(STDOUT_FILENO);
        dup2(file_.handle(), STDOUT_FILENO);
    }
    ~StdoutCapture() { restore(); }

    // Restores standard output and returns what was printed meanwhile.
    QString take() {
        restore();
        file_.seek(0);
        return QString::fromUtf8(file_.readAll());
    }

private:
    void restore() {
        if (saved_ >= 0) {
            std::fflush(stdout);
            dup2(saved_, STDOUT_FILENO);
            close(saved_);
            saved_ = -1;
        }
    }

    QTemporaryFile file_;
    int saved_ = -1;
};
