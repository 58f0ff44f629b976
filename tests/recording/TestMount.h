#pragma once

#include <sys/mount.h>
#include <unistd.h>
#include <QFile>
#include <QProcess>
#include <QString>
#include <QStringList>

// A file system mounted for one test and unmounted when the test ends.
// Mounting needs root; tests that need a mount skip without one.
class TestMount {
public:
    TestMount() = default;
    TestMount(const TestMount&) = delete;
    TestMount& operator=(const TestMount&) = delete;
    ~TestMount() { unmount(); }

    static bool canMount() { return geteuid() == 0; }

    // tmpfs or ramfs (which records no birth times) at the folder.
    bool mountMemory(const QString& type, const QString& folder, const QString& options = {},
                     unsigned long flags = 0) {
        const QByteArray typeBytes = type.toUtf8();
        if (::mount(typeBytes.constData(), QFile::encodeName(folder).constData(),
                    typeBytes.constData(), flags,
                    options.isEmpty() ? nullptr : options.toUtf8().constData()) != 0) {
            return false;
        }
        folder_ = folder;
        return true;
    }

    // A file-system image through a loop device (`mount` picks or is given it).
    bool mountImage(const QString& image, const QString& folder, const QString& loopDevice = {}) {
        const QStringList arguments = loopDevice.isEmpty()
                                          ? QStringList{"-o", "loop", image, folder}
                                          : QStringList{loopDevice, folder};
        if (QProcess::execute("mount", arguments) != 0) {
            return false;
        }
        folder_ = folder;
        return true;
    }

    void unmount() {
        if (!folder_.isEmpty()) {
            // A plain unmount first, so the loop device is released with it.
            if (::umount(QFile::encodeName(folder_).constData()) != 0) {
                ::umount2(QFile::encodeName(folder_).constData(), MNT_DETACH);
            }
            folder_.clear();
        }
    }

private:
    QString folder_;
};
