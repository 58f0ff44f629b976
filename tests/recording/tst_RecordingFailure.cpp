#include "FileError.h"
#include "FileOutputManager.h"
#include "GstHandle.h"
#include "RecordingFailure.h"
#include "TestMount.h"
#include "Translations.h"

#include <gst/gst.h>

#include <fcntl.h>
#include <sys/mount.h>
#include <unistd.h>
#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>
#include <cerrno>

namespace {

using Case = RecordingFailure::Case;

Error fileError(FileError::Code code) {
    return Error{Error::fileDomain, code, QStringLiteral("file service"), nullptr};
}

Error gstResource(GstResourceError code) {
    return Error{Error::gstResourceDomain, code, QStringLiteral("resource"), nullptr};
}

Case classified(const Error& error) {
    return RecordingFailure::classify(error).value();
}

// The error a real pipeline posts, taken from its bus as Nelvo takes errors.
std::optional<Error> pipelineError(const char* description) {
    Gst::ensureInitialised();
    GError* parseError = nullptr;
    GstElement* pipeline = gst_parse_launch(description, &parseError);
    if (pipeline == nullptr) {
        g_clear_error(&parseError);
        return std::nullopt;
    }
    gst_element_set_state(pipeline, GST_STATE_PLAYING);
    GstBus* bus = gst_element_get_bus(pipeline);
    GstMessage* message = gst_bus_timed_pop_filtered(
        bus, 10 * GST_SECOND, GstMessageType(GST_MESSAGE_ERROR | GST_MESSAGE_EOS));
    std::optional<Error> result;
    if (message != nullptr && GST_MESSAGE_TYPE(message) == GST_MESSAGE_ERROR) {
        GError* error = nullptr;
        gst_message_parse_error(message, &error, nullptr);
        const QString domain = error->domain == GST_RESOURCE_ERROR ? Error::gstResourceDomain
                               : error->domain == GST_STREAM_ERROR
                                   ? Error::gstStreamDomain
                                   : QString::fromUtf8(g_quark_to_string(error->domain));
        result = Error{domain, error->code, QString::fromUtf8(error->message), nullptr};
        g_error_free(error);
    }
    if (message != nullptr) {
        gst_message_unref(message);
    }
    gst_object_unref(bus);
    gst_element_set_state(pipeline, GST_STATE_NULL);
    gst_object_unref(pipeline);
    g_clear_error(&parseError);
    return result;
}

// What opening a new file for writing in the folder fails with.
std::optional<Error> openingFails(const QString& path) {
    const int fd = open(QFile::encodeName(path).constData(), O_WRONLY | O_CREAT | O_EXCL, 0600);
    if (fd >= 0) {
        close(fd);
        return std::nullopt;
    }
    return Error::posix(errno);
}

}  // namespace

class tst_RecordingFailure : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { Translations::install(*QCoreApplication::instance()); }

    void casesKeepTheirStoredOrder() {
        QCOMPARE(int(RecordingFailure::diskFull), 0);
        QCOMPARE(int(RecordingFailure::destinationMissing), 1);
        QCOMPARE(int(RecordingFailure::notPermitted), 2);
        QCOMPARE(int(RecordingFailure::other), 3);
    }

    void posixCodesFollowTheTable() {
        QCOMPARE(EDQUOT, 122);  // Linux numbering
        for (int code = 0; code <= 200; ++code) {
            Case expected = RecordingFailure::other;
            if (code == ENOSPC || code == EDQUOT) {
                expected = RecordingFailure::diskFull;
            } else if (code == ENOENT || code == ENXIO || code == ENODEV) {
                expected = RecordingFailure::destinationMissing;
            } else if (code == EPERM || code == EACCES || code == EROFS) {
                expected = RecordingFailure::notPermitted;
            }
            QCOMPARE(classified(Error::posix(code)), expected);
        }
        QCOMPARE(classified(Error::posix(28)), RecordingFailure::diskFull);
        QCOMPARE(classified(Error::posix(2)), RecordingFailure::destinationMissing);
        QCOMPARE(classified(Error::posix(30)), RecordingFailure::notPermitted);
    }

    void unknownFileWriteErrorIsDecidedByItsCause() {
        QCOMPARE(
            classified(fileError(FileError::writeUnknown).withUnderlying(Error::posix(ENOSPC))),
            RecordingFailure::diskFull);
        QCOMPARE(classified(fileError(FileError::writeUnknown)), RecordingFailure::other);
    }

    void listedFileCodesWinOverTheirCause() {
        QCOMPARE(classified(fileError(FileError::noSuchFile).withUnderlying(Error::posix(EACCES))),
                 RecordingFailure::destinationMissing);
        QCOMPARE(classified(fileError(FileError::writeOutOfSpace)), RecordingFailure::diskFull);
        QCOMPARE(classified(fileError(FileError::writeNoPermission)),
                 RecordingFailure::notPermitted);
        QCOMPARE(classified(fileError(FileError::writeVolumeReadOnly)),
                 RecordingFailure::notPermitted);
    }

    void posixInputOutputErrorIsOtherWhateverItCarries() {
        QCOMPARE(classified(Error::posix(EIO).withUnderlying(Error::posix(ENOSPC))),
                 RecordingFailure::other);
    }

    void otherDomainsDeferToTheirCause() {
        const Error writer{Error::writerDomain, 7, QStringLiteral("writer"), nullptr};
        QCOMPARE(classified(writer.withUnderlying(fileError(FileError::writeNoPermission))),
                 RecordingFailure::notPermitted);
        QCOMPARE(classified(writer), RecordingFailure::other);
        const Error stream{Error::gstStreamDomain, GST_STREAM_ERROR_FAILED, QString(), nullptr};
        QCOMPARE(classified(stream), RecordingFailure::other);
        QCOMPARE(classified(Error{QStringLiteral("elsewhere"), 1, QString(), nullptr}),
                 RecordingFailure::other);
    }

    void theDeepestDecisiveLevelDecides() {
        // writer -> stream -> file service (undecided) -> errno
        const Error chain = Error{Error::writerDomain, 1, QString(), nullptr}.withUnderlying(
            Error{Error::gstStreamDomain, GST_STREAM_ERROR_FAILED, QString(), nullptr}
                .withUnderlying(
                    fileError(FileError::writeUnknown).withUnderlying(Error::posix(EDQUOT))));
        QCOMPARE(classified(chain), RecordingFailure::diskFull);
        const Error undecided = Error{Error::writerDomain, 1, QString(), nullptr}.withUnderlying(
            Error{Error::gstStreamDomain, 1, QString(), nullptr}.withUnderlying(
                fileError(FileError::writeUnknown)));
        QCOMPARE(classified(undecided), RecordingFailure::other);
    }

    void gstreamerResourceErrors() {
        QCOMPARE(classified(gstResource(GST_RESOURCE_ERROR_NO_SPACE_LEFT)),
                 RecordingFailure::diskFull);
        QCOMPARE(classified(gstResource(GST_RESOURCE_ERROR_NOT_FOUND)),
                 RecordingFailure::destinationMissing);
        QCOMPARE(classified(gstResource(GST_RESOURCE_ERROR_NOT_AUTHORIZED)),
                 RecordingFailure::notPermitted);
        // Opening for writing failed: the errno, where known, says why.
        QCOMPARE(classified(gstResource(GST_RESOURCE_ERROR_OPEN_WRITE)), RecordingFailure::other);
        QCOMPARE(
            classified(
                gstResource(GST_RESOURCE_ERROR_OPEN_WRITE).withUnderlying(Error::posix(EACCES))),
            RecordingFailure::notPermitted);
        QCOMPARE(
            classified(
                gstResource(GST_RESOURCE_ERROR_OPEN_WRITE).withUnderlying(Error::posix(ENOENT))),
            RecordingFailure::destinationMissing);
        QCOMPARE(
            classified(gstResource(GST_RESOURCE_ERROR_WRITE).withUnderlying(Error::posix(ENOSPC))),
            RecordingFailure::diskFull);
        // Codes that say why win over the cause.
        QCOMPARE(
            classified(
                gstResource(GST_RESOURCE_ERROR_NOT_FOUND).withUnderlying(Error::posix(ENOSPC))),
            RecordingFailure::destinationMissing);
    }

    void realPipelineWritingToAFullDeviceIsDiskFull() {
        const std::optional<Error> error = pipelineError(
            "fakesrc num-buffers=1 sizetype=fixed sizemax=4096 filltype=zero ! "
            "filesink location=/dev/full buffer-mode=unbuffered");
        QVERIFY(error);
        QCOMPARE(error->domain, Error::gstResourceDomain);
        QCOMPARE(error->code, qint64(GST_RESOURCE_ERROR_NO_SPACE_LEFT));
        QCOMPARE(classified(*error), RecordingFailure::diskFull);
    }

    void realPipelineOpeningInAMissingFolder() {
        QTemporaryDir dir;
        const QString path = dir.filePath(QStringLiteral("missing/x.mov"));
        const std::optional<Error> error = pipelineError(qPrintable(
            QStringLiteral("fakesrc num-buffers=1 ! filesink location=\"%1\"").arg(path)));
        QVERIFY(error);
        QCOMPARE(error->code, qint64(GST_RESOURCE_ERROR_OPEN_WRITE));
        // GStreamer keeps the errno only in its debug text, so alone it says little;
        // with the errno its owner saw, it says the folder is missing.
        QCOMPARE(classified(*error), RecordingFailure::other);
        const std::optional<Error> opening = openingFails(path);
        QVERIFY(opening);
        QCOMPARE(classified(error->withUnderlying(*opening)), RecordingFailure::destinationMissing);
    }

    void realFileErrors() {
        QTemporaryDir dir;
        QCOMPARE(classified(*openingFails(dir.filePath(QStringLiteral("missing/x.mov")))),
                 RecordingFailure::destinationMissing);
        // Writing to a full device is refused with ENOSPC.
        const int fd = open("/dev/full", O_WRONLY);
        QVERIFY(fd >= 0);
        const char byte = 0;
        QCOMPARE(write(fd, &byte, 1), ssize_t(-1));
        const Error full = FileError::fromErrno(errno, QStringLiteral("Writing"));
        close(fd);
        QCOMPARE(full.code, qint64(FileError::writeOutOfSpace));
        QCOMPARE(classified(full), RecordingFailure::diskFull);
        const std::optional<Error> vanished =
            FileOutputManager::removeFile(dir.filePath(QStringLiteral("gone.mov")));
        QVERIFY(vanished);
        QCOMPARE(classified(*vanished), RecordingFailure::destinationMissing);
    }

    void realUnwritableFolderIsNotPermitted() {
        if (geteuid() == 0) {
            QSKIP("root writes into every folder; the unprivileged run covers this");
        }
        QTemporaryDir dir;
        QVERIFY(QFile::setPermissions(dir.path(), QFileDevice::ReadOwner | QFileDevice::ExeOwner));
        const std::optional<Error> error = openingFails(dir.filePath(QStringLiteral("x.mov")));
        QVERIFY(QFile::setPermissions(
            dir.path(), QFileDevice::ReadOwner | QFileDevice::WriteOwner | QFileDevice::ExeOwner));
        QVERIFY(error);
        QCOMPARE(classified(*error), RecordingFailure::notPermitted);
    }

    void realReadOnlyVolumeIsNotPermitted() {
        if (!TestMount::canMount()) {
            QSKIP("needs root to mount a read-only volume");
        }
        QTemporaryDir dir;
        TestMount volume;
        QVERIFY(volume.mountMemory(QStringLiteral("tmpfs"), dir.path(), QStringLiteral("size=1m"),
                                   MS_RDONLY));
        const std::optional<Error> error = openingFails(dir.filePath(QStringLiteral("x.mov")));
        QVERIFY(error);
        QCOMPARE(error->code, qint64(EROFS));
        QCOMPARE(classified(*error), RecordingFailure::notPermitted);
    }

    void noticeTextUsesTheSingularForOne() {
        QCOMPARE(
            RecordingFailure::noticeText(1, RecordingFailure::diskFull),
            QStringLiteral("1 recording wasn't saved: there's no room left where recordings go"));
        QCOMPARE(
            RecordingFailure::noticeText(1, RecordingFailure::destinationMissing),
            QStringLiteral("1 recording wasn't saved: the folder recordings go to isn't there"));
        QCOMPARE(RecordingFailure::noticeText(1, RecordingFailure::notPermitted),
                 QStringLiteral(
                     "1 recording wasn't saved: Nelvo isn't allowed to write where recordings go"));
        QCOMPARE(RecordingFailure::noticeText(1, RecordingFailure::other),
                 QStringLiteral("1 recording wasn't saved: the file couldn't be written"));
    }

    void noticeTextForSeveral() {
        QCOMPARE(
            RecordingFailure::noticeText(3, RecordingFailure::diskFull),
            QStringLiteral(
                "3 recordings in a row weren't saved: there's no room left where recordings go"));
        QCOMPARE(
            RecordingFailure::noticeText(12, RecordingFailure::other),
            QStringLiteral("12 recordings in a row weren't saved: the file couldn't be written"));
    }
};

QTEST_GUILESS_MAIN(tst_RecordingFailure)
#include "tst_RecordingFailure.moc"
