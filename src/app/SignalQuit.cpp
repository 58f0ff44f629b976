#include "SignalQuit.h"

#include "Log.h"

#include <fcntl.h>
#include <unistd.h>
#include <QSocketNotifier>
#include <csignal>

namespace {
int pipeFds[2] = {-1, -1};
}

SignalQuit::SignalQuit(QObject* parent) : QObject(parent) {
    if (::pipe2(pipeFds, O_CLOEXEC | O_NONBLOCK) != 0) {
        Log::line(QStringLiteral("Could not watch for quit signals"));
        return;
    }
    notifier_ = new QSocketNotifier(pipeFds[0], QSocketNotifier::Read, this);
    connect(notifier_, &QSocketNotifier::activated, this, [this] {
        char byte = 0;
        while (::read(pipeFds[0], &byte, 1) == 1) {
        }
        Q_EMIT quitRequested();
    });
    struct sigaction action {};
    action.sa_handler = &SignalQuit::handle;
    sigemptyset(&action.sa_mask);
    action.sa_flags = SA_RESTART;
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
}

SignalQuit::~SignalQuit() {
    std::signal(SIGINT, SIG_DFL);
    std::signal(SIGTERM, SIG_DFL);
    delete notifier_;
    ::close(pipeFds[0]);
    ::close(pipeFds[1]);
}

void SignalQuit::handle(int) {
    const char byte = 1;
    [[maybe_unused]] const ssize_t written = ::write(pipeFds[1], &byte, 1);
}
