#pragma once

#include "Error.h"

#include <QString>

// The file service's own errors (domain Error::fileDomain). Each names what
// went wrong in terms a recording failure can be told from, and carries the
// operating system's error as its underlying error.
namespace FileError {

enum Code : long long {
    writeUnknown = 1,         // the underlying error says more
    noSuchFile = 2,           // the file or a folder on its path is not there
    writeNoPermission = 3,    // permissions refuse the write
    writeVolumeReadOnly = 4,  // the file system is mounted read-only
    writeOutOfSpace = 5,      // no space (or quota) left on the volume
};

// The code that describes a failed file operation with this errno.
Code codeForErrno(int errnoValue);

// A file-service error for a failed operation: the description reads
// "{what}: {system text}" (or just the system text when what is empty) and
// the errno is kept as the underlying posix error.
Error fromErrno(int errnoValue, const QString& what = {});

}  // namespace FileError
