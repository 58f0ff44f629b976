#include "IssuedNames.h"

#include <unistd.h>
#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QTest>

namespace {

void makeFile(const QString& path) {
    QFile file(path);
    QVERIFY2(file.open(QIODevice::WriteOnly), qPrintable(path));
}

}  // namespace

class tst_IssuedNames : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aPathHandedOutIsTakenBeforeItsFileExists() {
        QTemporaryDir dir;
        IssuedNames names;
        const QString path = dir.filePath(QStringLiteral("a.mov"));
        QVERIFY(!names.isTaken(path));
        names.issue(path);
        QVERIFY(names.isTaken(path));
        QVERIFY(!QFile::exists(path));
        QVERIFY(!names.isTaken(dir.filePath(QStringLiteral("b.mov"))));
    }

    void anyItemAtAPathTakesIt() {
        QTemporaryDir dir;
        IssuedNames names;
        makeFile(dir.filePath(QStringLiteral("file.mov")));
        QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("folder.mov")));
        QCOMPARE(symlink("/nonexistent/target",
                         QFile::encodeName(dir.filePath(QStringLiteral("link.mov"))).constData()),
                 0);
        for (const char* name : {"file.mov", "folder.mov", "link.mov"}) {
            QVERIFY2(names.isTaken(dir.filePath(QLatin1String(name))), name);
        }
    }

    // The folder guards a name once its file is there: the record lets it go
    // with the next name handed out and stays as small as the files pending.
    void pathsWhoseFilesExistAreForgotten() {
        QTemporaryDir dir;
        IssuedNames names;
        const QString pending = dir.filePath(QStringLiteral("pending.mov"));
        names.issue(pending);
        for (int i = 0; i < 500; ++i) {
            const QString path = dir.filePath(QStringLiteral("%1.mov").arg(i));
            names.issue(path);
            makeFile(path);
            QVERIFY(names.isTaken(path));
        }
        QCOMPARE(names.paths().size(), 2);
        QVERIFY(names.paths().contains(pending));
        QVERIFY(names.isTaken(pending));
    }

    // A recording that never made its file (it failed to open, or its
    // continuation was dropped) lets its name go when it finishes.
    void aFinishedRecordingsPathIsForgotten() {
        QTemporaryDir dir;
        IssuedNames names;
        const QString first = dir.filePath(QStringLiteral("first.mov"));
        const QString second = dir.filePath(QStringLiteral("second.mov"));
        names.issue(first);
        names.issue(second);
        names.finished(first);
        QVERIFY(!names.isTaken(first));
        QVERIFY(names.isTaken(second));
        QCOMPARE(names.paths(), QSet<QString>{second});
        names.finished(first);  // told twice: nothing else changes
        QCOMPARE(names.paths(), QSet<QString>{second});
        names.clear();
        QVERIFY(names.paths().isEmpty());
        QVERIFY(!names.isTaken(second));
    }
};

QTEST_GUILESS_MAIN(tst_IssuedNames)
#include "tst_IssuedNames.moc"
