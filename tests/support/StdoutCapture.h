#pragma once

#include <QString>
#include <QTemporaryFile>

// Captures what Nelvo prints on standard output (its log lines) while the
// capture is alive, so that a test can check the exact lines.
class StdoutCapture {
public:
    StdoutCapture();
    ~StdoutCapture();
    StdoutCapture(const StdoutCapture&) = delete;
    StdoutCapture& operator=(const StdoutCapture&) = delete;

    // Everything printed since the capture began.
    QString text() const;
    QStringList lines() const;
    // Ends the capture (Qt Test's own messages go to the terminal again) and
    // returns everything printed during it.
    QString take();

private:
    void restore();

    QTemporaryFile file_;
    int savedStdout_ = -1;
};
