#include "FileError.h"

#include <cerrno>

namespace FileError {

Code codeForErrno(int errnoValue) {
    switch (errnoValue) {
        case ENOENT:
        case ENOTDIR:
            return noSuchFile;
        case EPERM:
        case EACCES:
            return writeNoPermission;
        case EROFS:
            return writeVolumeReadOnly;
        case ENOSPC:
        case EDQUOT:
            return writeOutOfSpace;
        default:
            return writeUnknown;
    }
}

Error fromErrno(int errnoValue, const QString& what) {
    const Error cause = Error::posix(errnoValue);
    const QString description =
        what.isEmpty() ? cause.description : what + QStringLiteral(": ") + cause.description;
    return Error{Error::fileDomain, codeForErrno(errnoValue), description, nullptr}.withUnderlying(
        cause);
}

}  // namespace FileError
