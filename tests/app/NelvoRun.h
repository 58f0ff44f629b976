#pragma once

#include <QElapsedTimer>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <csignal>

// One run of the `nelvo` executable, its output read line by line with the
// time each line arrived.
class NelvoRun {
public:
    explicit NelvoRun(const QStringList& arguments) {
        process_.setProcessChannelMode(QProcess::MergedChannels);
        process_.start(QStringLiteral(NELVO_EXECUTABLE), arguments);
        started_.start();
    }
    ~NelvoRun() {
        if (process_.state() != QProcess::NotRunning) {
            process_.kill();
            process_.waitForFinished(5000);
        }
    }

    bool startedOK() { return process_.waitForStarted(); }

    // Waits for a line that begins with `prefix`, after the first `skip` such
    // lines; the line, or an empty string after `timeoutMs`.
    QString waitForLine(const QString& prefix, int timeoutMs, int skip = 0) {
        QElapsedTimer waited;
        waited.start();
        while (true) {
            read();
            const QStringList found = linesStartingWith(prefix);
            if (found.size() > skip) {
                return found.at(skip);
            }
            if (waited.elapsed() >= timeoutMs || process_.state() == QProcess::NotRunning) {
                return {};
            }
            process_.waitForReadyRead(200);
        }
    }

    // Milliseconds since launch at which the line was read.
    qint64 timeOf(const QString& line) const {
        const qsizetype index = lines_.indexOf(line);
        return index < 0 ? -1 : times_.at(index);
    }

    QStringList linesStartingWith(const QString& prefix) const {
        QStringList found;
        for (const QString& line : lines_) {
            if (line.startsWith(prefix)) {
                found << line;
            }
        }
        return found;
    }

    QString log() const { return lines_.join(u'\n'); }
    QStringList lines() const { return lines_; }

    void signal(int number) { ::kill(static_cast<pid_t>(process_.processId()), number); }

    bool waitForExit(int timeoutMs) {
        const bool exited = process_.waitForFinished(timeoutMs);
        read();
        return exited;
    }
    QProcess& process() { return process_; }

private:
    void read() {
        pending_ += QString::fromUtf8(process_.readAll());
        qsizetype end;
        while ((end = pending_.indexOf(u'\n')) >= 0) {
            lines_ << pending_.left(end);
            times_ << started_.elapsed();
            pending_.remove(0, end + 1);
        }
    }

    QProcess process_;
    QElapsedTimer started_;
    QString pending_;
    QStringList lines_;
    QList<qint64> times_;
};
