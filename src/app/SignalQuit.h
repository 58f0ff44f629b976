#pragma once

#include <QObject>

class QSocketNotifier;

// Turns SIGINT and SIGTERM into a signal on the main thread, through a pipe
// the handler writes one byte into (the only thing a handler may safely do).
class SignalQuit : public QObject {
    Q_OBJECT
public:
    explicit SignalQuit(QObject* parent = nullptr);
    ~SignalQuit() override;

Q_SIGNALS:
    void quitRequested();

private:
    static void handle(int signal);
    QSocketNotifier* notifier_ = nullptr;
};
