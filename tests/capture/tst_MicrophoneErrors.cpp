#include "MicrophoneErrors.h"

#include <gst/gst.h>
#include <QTest>

class tst_MicrophoneErrors : public QObject {
    Q_OBJECT

    static Error failure(const QString& description) {
        return Error{Error::gstResourceDomain, GST_RESOURCE_ERROR_FAILED, description, nullptr};
    }

    // A path as GStreamer gives it, below the capture session.
    static QString inSession(const QString& steps) {
        return QStringLiteral("/GstPipeline:CaptureSession") + steps;
    }

private Q_SLOTS:
    void anErrorOfTheMicrophoneOrAnythingInsideItIsTheMicrophones() {
        const Error lost = failure(QStringLiteral("Disconnected: Connection terminated"));
        QVERIFY(MicrophoneErrors::isMicrophones(
            inSession(QStringLiteral("/GstPulseSrc:Microphone")), lost));
        QVERIFY(MicrophoneErrors::isMicrophones(
            inSession(QStringLiteral("/GstBin:Microphone/GstPulseSrc:pulsesrc0")), lost));
        const Error stream{Error::gstStreamDomain, GST_STREAM_ERROR_FAILED,
                           QStringLiteral("Internal data stream error."), nullptr};
        QVERIFY(MicrophoneErrors::isMicrophones(
            inSession(QStringLiteral("/GstPulseSrc:Microphone")), stream));
    }

    void anErrorOfTheCameraOrTheSessionIsNot() {
        const Error lost = failure(QStringLiteral("Could not read from resource."));
        QVERIFY(!MicrophoneErrors::isMicrophones(inSession(QStringLiteral("/GstV4l2Src:v4l2src0")),
                                                 lost));
        QVERIFY(!MicrophoneErrors::isMicrophones(inSession(QString()), lost));
        QVERIFY(!MicrophoneErrors::isMicrophones(QString(), lost));
        // Only the whole name counts, not the type nor a longer name.
        QVERIFY(!MicrophoneErrors::isMicrophones(
            inSession(QStringLiteral("/GstPulseSrc:Microphone2")), lost));
        QVERIFY(!MicrophoneErrors::isMicrophones(inSession(QStringLiteral("/Microphone:camera")),
                                                 lost));
    }

    void aRefusalOfTheMicrophoneIsTheSessionsAsAWhole() {
        const Error refused{Error::gstResourceDomain, GST_RESOURCE_ERROR_NOT_AUTHORIZED,
                            QStringLiteral("Not authorized"), nullptr};
        QVERIFY(!MicrophoneErrors::isMicrophones(
            inSession(QStringLiteral("/GstPulseSrc:Microphone")), refused));
    }
};

QTEST_GUILESS_MAIN(tst_MicrophoneErrors)
#include "tst_MicrophoneErrors.moc"
