#include "PrivateFile.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>
#include <QFile>
#include <cerrno>

namespace PrivateFile {

int create(const QString& path) {
    const int fd = ::open(QFile::encodeName(path).constData(),
                          O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0) {
        return -1;
    }
    // The umask may have taken bits from the mode, never added any; the
    // descriptor is the file itself, whatever happens to its name.
    if (::fchmod(fd, 0600) != 0) {
        const int error = errno;
        ::close(fd);
        ::unlink(QFile::encodeName(path).constData());
        errno = error;
        return -1;
    }
    return fd;
}

bool moveIntoPlace(const QString& workPath, const QString& path) {
    return ::renameat2(AT_FDCWD, QFile::encodeName(workPath).constData(), AT_FDCWD,
                       QFile::encodeName(path).constData(), RENAME_NOREPLACE) == 0;
}

}  // namespace PrivateFile
