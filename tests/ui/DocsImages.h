#pragma once

#include <QDir>
#include <QImage>
#include <QPixmap>
#include <QString>
#include <QTest>

// Pictures of Nelvo's interface for its documentation, written by the tests
// that draw them into docs/images of the source tree.
namespace DocsImages {

inline QString path(const QString& name) {
    const QString dir = qEnvironmentVariable("NELVO_SOURCE_DIR") + QStringLiteral("/docs/images");
    QDir().mkpath(dir);
    return dir + u'/' + name;
}

// Whether two pictures differ in more than a sliver of their pixels: live
// parts (level meters, the demo camera's moving object) change a little from
// run to run and should not rewrite the committed picture each time.
inline bool differsNoticeably(const QImage& a, const QImage& b) {
    if (a.size() != b.size()) {
        return true;
    }
    const QImage left = a.convertToFormat(QImage::Format_ARGB32);
    const QImage right = b.convertToFormat(QImage::Format_ARGB32);
    qint64 different = 0;
    for (int y = 0; y < left.height(); ++y) {
        const auto* l = reinterpret_cast<const QRgb*>(left.constScanLine(y));
        const auto* r = reinterpret_cast<const QRgb*>(right.constScanLine(y));
        for (int x = 0; x < left.width(); ++x) {
            different += l[x] != r[x];
        }
    }
    return different * 50 > qint64(left.width()) * left.height();  // over 2 %
}

inline void save(const QImage& image, const QString& name) {
    const QString file = path(name);
    const QImage committed(file);
    if (!committed.isNull() && !differsNoticeably(image, committed)) {
        return;
    }
    QVERIFY2(image.save(file, "PNG"), qPrintable(QStringLiteral("Cannot write ") + file));
}

}  // namespace DocsImages
