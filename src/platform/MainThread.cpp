#include "MainThread.h"

#include <QCoreApplication>
#include <QThread>

namespace MainThread {

void post(std::function<void()> work) {
    QCoreApplication* app = QCoreApplication::instance();
    if (!app) {
        return;  // the application is gone: nothing can run any more
    }
    QMetaObject::invokeMethod(app, std::move(work), Qt::QueuedConnection);
}

bool isCurrent() {
    QCoreApplication* app = QCoreApplication::instance();
    return app && QThread::currentThread() == app->thread();
}

}  // namespace MainThread
