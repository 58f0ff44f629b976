#include "CaptureError.h"
#include "GstHandle.h"

#include <QTest>
#include <cerrno>

namespace {

// An error message as an element would post it.
GstHandle<GstMessage> errorMessage(GQuark domain, int code, const char* text, const char* debug) {
    GError* error = g_error_new_literal(domain, code, text);
    GstMessage* message = gst_message_new_error(nullptr, error, debug);
    g_error_free(error);
    return GstHandle<GstMessage>::adopt(message);
}

}  // namespace

class tst_CaptureError : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() { gst_init(nullptr, nullptr); }

    void aResourceErrorKeepsItsCodeAndText() {
        const auto message =
            errorMessage(GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_READ, "camera unplugged", nullptr);
        const std::optional<Error> error = CaptureError::of(message.get());
        QVERIFY(error);
        QCOMPARE(error->domain, Error::gstResourceDomain);
        QCOMPARE(error->code, static_cast<long long>(GST_RESOURCE_ERROR_READ));
        QCOMPARE(error->description, QStringLiteral("camera unplugged"));
        QVERIFY(!CaptureError::isRefusal(*error));
    }

    void aStreamErrorHasTheStreamDomain() {
        const auto message =
            errorMessage(GST_STREAM_ERROR, GST_STREAM_ERROR_DECODE, "bad data", nullptr);
        const std::optional<Error> error = CaptureError::of(message.get());
        QVERIFY(error);
        QCOMPARE(error->domain, Error::gstStreamDomain);
        QCOMPARE(error->code, static_cast<long long>(GST_STREAM_ERROR_DECODE));
    }

    void anOpeningDeniedByPermissionIsARefusal_data() {
        QTest::addColumn<int>("code");
        QTest::addColumn<int>("errnoValue");
        QTest::addColumn<bool>("refused");
        QTest::newRow("read, EACCES") << int(GST_RESOURCE_ERROR_OPEN_READ) << EACCES << true;
        QTest::newRow("write, EPERM") << int(GST_RESOURCE_ERROR_OPEN_WRITE) << EPERM << true;
        QTest::newRow("read-write, EACCES")
            << int(GST_RESOURCE_ERROR_OPEN_READ_WRITE) << EACCES << true;
        QTest::newRow("read, ENOENT") << int(GST_RESOURCE_ERROR_OPEN_READ) << ENOENT << false;
        QTest::newRow("busy, EACCES") << int(GST_RESOURCE_ERROR_BUSY) << EACCES << false;
    }
    void anOpeningDeniedByPermissionIsARefusal() {
        QFETCH(int, code);
        QFETCH(int, errnoValue);
        QFETCH(bool, refused);
        const QByteArray debug = QByteArray("system error: ") + g_strerror(errnoValue);
        const auto message =
            errorMessage(GST_RESOURCE_ERROR, code, "Could not open the camera", debug.constData());
        const std::optional<Error> error = CaptureError::of(message.get());
        QVERIFY(error);
        QCOMPARE(CaptureError::isRefusal(*error), refused);
        QCOMPARE(error->code, refused ? static_cast<long long>(GST_RESOURCE_ERROR_NOT_AUTHORIZED)
                                      : static_cast<long long>(code));
    }

    void anElementNamingItARefusalIsOne() {
        const auto message = errorMessage(GST_RESOURCE_ERROR, GST_RESOURCE_ERROR_NOT_AUTHORIZED,
                                          "not allowed", nullptr);
        QVERIFY(CaptureError::isRefusal(*CaptureError::of(message.get())));
    }

    void aMissingDeviceIsNoRefusal() {
        auto source = GstHandle<GstElement>::sink(gst_element_factory_make("v4l2src", nullptr));
        QVERIFY(source);
        g_object_set(source.get(), "device", "/dev/nelvo-no-such-camera", nullptr);
        std::optional<Error> refusal;
        QVERIFY(!CaptureError::openSource(source.get(), refusal));
        QVERIFY(!refusal);
    }

    void anOpenableSourceOpens() {
        auto source =
            GstHandle<GstElement>::sink(gst_element_factory_make("videotestsrc", nullptr));
        std::optional<Error> refusal;
        QVERIFY(CaptureError::openSource(source.get(), refusal));
        QVERIFY(!refusal);
        gst_element_set_state(source.get(), GST_STATE_NULL);
    }
};

QTEST_GUILESS_MAIN(tst_CaptureError)
#include "tst_CaptureError.moc"
