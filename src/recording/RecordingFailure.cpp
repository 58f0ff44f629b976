#include "RecordingFailure.h"

#include "FileError.h"

#include <gst/gst.h>

#include <QCoreApplication>
#include <algorithm>
#include <cerrno>
#include <limits>
#include <optional>

namespace {

// The operating system's verdict, decisive whatever it says: the posix
// domain never looks at underlying errors.
RecordingFailure classifyErrno(long long code) {
    if (code < std::numeric_limits<int>::min() || code > std::numeric_limits<int>::max()) {
        qFatal("A posix error code out of range reached the failure classification: %lld", code);
    }
    switch (static_cast<int>(code)) {
        case ENOSPC:
        case EDQUOT:
            return RecordingFailure::diskFull;
        case ENOENT:
        case ENXIO:
        case ENODEV:
            return RecordingFailure::destinationMissing;
        case EPERM:
        case EACCES:
        case EROFS:
            return RecordingFailure::notPermitted;
        default:
            return RecordingFailure::other;
    }
}

// Codes of the file service that decide by themselves; the rest defer to
// the underlying error.
std::optional<RecordingFailure> classifyFileError(long long code) {
    switch (code) {
        case FileError::writeOutOfSpace:
            return RecordingFailure::diskFull;
        case FileError::noSuchFile:
            return RecordingFailure::destinationMissing;
        case FileError::writeNoPermission:
        case FileError::writeVolumeReadOnly:
            return RecordingFailure::notPermitted;
        default:
            return std::nullopt;
    }
}

// GStreamer's resource errors that say why by themselves. Opening or writing
// failures (OPEN_WRITE, WRITE, ...) only say that something failed; the
// errno, when the element's owner knew it, is the underlying error.
std::optional<RecordingFailure> classifyGstResourceError(long long code) {
    switch (code) {
        case GST_RESOURCE_ERROR_NO_SPACE_LEFT:
            return RecordingFailure::diskFull;
        case GST_RESOURCE_ERROR_NOT_FOUND:
            return RecordingFailure::destinationMissing;
        case GST_RESOURCE_ERROR_NOT_AUTHORIZED:
            return RecordingFailure::notPermitted;
        default:
            return std::nullopt;
    }
}

}  // namespace

RecordingFailure RecordingFailure::classify(const Error& error) {
    // Walks the chain of underlying errors instead of recursing, so a long
    // chain costs no stack.
    for (const Error* level = &error; level != nullptr; level = level->underlying.get()) {
        if (level->domain == Error::posixDomain) {
            return classifyErrno(level->code);
        }
        std::optional<RecordingFailure> decided;
        if (level->domain == Error::fileDomain) {
            decided = classifyFileError(level->code);
        } else if (level->domain == Error::gstResourceDomain) {
            decided = classifyGstResourceError(level->code);
        }
        if (decided) {
            return *decided;
        }
    }
    return other;
}

QString RecordingFailure::noticeText(qint64 count, RecordingFailure failure) {
    // Qt's plural forms count in int; a run of failures never gets near its end.
    const int n = static_cast<int>(std::clamp<qint64>(count, std::numeric_limits<int>::min(),
                                                      std::numeric_limits<int>::max()));
    QString text;
    switch (failure) {
        case diskFull:
            //: Popover notice; has a singular form in the catalog
            text = QCoreApplication::translate(
                "RecordingFailure",
                "%n recordings in a row weren't saved: there's no room left where recordings go",
                nullptr, n);
            break;
        case destinationMissing:
            //: Popover notice; has a singular form in the catalog
            text = QCoreApplication::translate(
                "RecordingFailure",
                "%n recordings in a row weren't saved: the folder recordings go to isn't there",
                nullptr, n);
            break;
        case notPermitted:
            //: Popover notice; has a singular form in the catalog
            text = QCoreApplication::translate("RecordingFailure",
                                               "%n recordings in a row weren't saved: Nelvo isn't "
                                               "allowed to write where recordings go",
                                               nullptr, n);
            break;
        case other:
            //: Popover notice; has a singular form in the catalog
            text = QCoreApplication::translate(
                "RecordingFailure",
                "%n recordings in a row weren't saved: the file couldn't be written", nullptr, n);
            break;
    }
    return text;
}
