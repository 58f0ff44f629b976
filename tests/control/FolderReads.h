#pragma once

#include <dirent.h>
#include <dlfcn.h>
#include <QByteArray>
#include <QCoreApplication>
#include <QThread>
#include <atomic>
#include <mutex>

// Counts the directories Nelvo opens on the main thread under a folder the
// test names. Every listing of a folder, and every write test (it clears its
// leftovers first), opens the folder as a directory: this stands in front of
// the C library's opendir for the whole test executable.
namespace FolderReads {

inline std::mutex& mutex() {
    static std::mutex m;
    return m;
}
inline QByteArray& watched() {
    static QByteArray folder;
    return folder;
}
inline std::atomic<int>& onMainThread() {
    static std::atomic<int> count{0};
    return count;
}

// Watches `folder` (and everything under it) from now on, counting from 0.
inline void watch(const QByteArray& folder) {
    const std::lock_guard lock(mutex());
    watched() = folder;
    onMainThread() = 0;
}

}  // namespace FolderReads

extern "C" DIR* opendir(const char* name) {
    using Real = DIR* (*)(const char*);
    static const Real real = reinterpret_cast<Real>(dlsym(RTLD_NEXT, "opendir"));
    if (QCoreApplication::instance() != nullptr &&
        QThread::currentThread() == QCoreApplication::instance()->thread()) {
        const std::lock_guard lock(FolderReads::mutex());
        const QByteArray& folder = FolderReads::watched();
        if (!folder.isEmpty() && QByteArray(name).startsWith(folder)) {
            ++FolderReads::onMainThread();
        }
    }
    return real(name);
}
