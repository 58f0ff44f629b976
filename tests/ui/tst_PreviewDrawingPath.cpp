#include "PreviewDrawingPath.h"

#include <QTest>

using Path = PreviewDrawingPath;

class tst_PreviewDrawingPath : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void softwareRenderersAreKnownByName() {
        for (const QString& name :
             {QStringLiteral("llvmpipe (LLVM 15.0.6, 256 bits)"), QStringLiteral("softpipe"),
              QStringLiteral("Mesa DRI swrast"), QStringLiteral("Software Rasterizer"),
              QStringLiteral("LLVMPIPE")}) {
            QVERIFY2(Path::isSoftwareRenderer(name), qPrintable(name));
        }
        for (const QString& name :
             {QStringLiteral("Mesa Intel(R) UHD Graphics 620 (KBL GT2)"),
              QStringLiteral("AMD Radeon RX 6600 (navi23, LLVM 15.0.6, DRM 3.49, 6.1.0)"),
              QStringLiteral("NVIDIA GeForce GTX 1650/PCIe/SSE2"), QString()}) {
            QVERIFY2(!Path::isSoftwareRenderer(name), qPrintable(name));
        }
    }

    void choose_data() {
        QTest::addColumn<QString>("setting");
        QTest::addColumn<bool>("hasContext");
        QTest::addColumn<QString>("renderer");
        QTest::addColumn<int>("expected");
        const QString gpu = QStringLiteral("Mesa Intel(R) Xe Graphics (TGL GT2)");
        const QString cpu = QStringLiteral("llvmpipe (LLVM 15.0.6, 256 bits)");
        QTest::newRow("automatic, GPU") << QString() << true << gpu << int(Path::openGL);
        QTest::newRow("automatic, software") << QString() << true << cpu << int(Path::painter);
        QTest::newRow("automatic, no context")
            << QString() << false << QString() << int(Path::painter);
        QTest::newRow("forced, software") << "1" << true << cpu << int(Path::openGL);
        QTest::newRow("forced, GPU") << "1" << true << gpu << int(Path::openGL);
        QTest::newRow("forced, no context") << "1" << false << QString() << int(Path::painter);
        QTest::newRow("forbidden, GPU") << "0" << true << gpu << int(Path::painter);
        QTest::newRow("forbidden, software") << "0" << true << cpu << int(Path::painter);
        QTest::newRow("other value, GPU") << "yes" << true << gpu << int(Path::openGL);
        QTest::newRow("other value, software") << "yes" << true << cpu << int(Path::painter);
    }

    void choose() {
        QFETCH(QString, setting);
        QFETCH(bool, hasContext);
        QFETCH(QString, renderer);
        QFETCH(int, expected);
        const std::optional<QString> probed = hasContext ? std::optional(renderer) : std::nullopt;
        QCOMPARE(int(Path::choose(setting, probed)), expected);
    }

    void forbiddingNeedsNoContext() {
        QVERIFY(!Path::needsRenderer(u"0"));
        QVERIFY(Path::needsRenderer(u""));
        QVERIFY(Path::needsRenderer(u"1"));
    }
};

QTEST_MAIN(tst_PreviewDrawingPath)
#include "tst_PreviewDrawingPath.moc"
