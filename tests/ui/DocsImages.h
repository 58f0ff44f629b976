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

inline void save(const QImage& image, const QString& name) {
    const QString file = path(name);
    QVERIFY2(image.save(file, "PNG"), qPrintable(QStringLiteral("Cannot write ") + file));
}

}  // namespace DocsImages
