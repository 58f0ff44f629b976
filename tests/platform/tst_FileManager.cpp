#include "FileManager.h"
#include "PrivateBus.h"
#include "TestEnvironment.h"

#include <QGuiApplication>
#include <QTest>
#include <QUrl>

namespace {

const QString service = QStringLiteral("org.freedesktop.FileManager1");
const QString path = QStringLiteral("/org/freedesktop/FileManager1");

}  // namespace

// Showing files and folders through the desktop's file manager, as a real
// D-Bus service on a private bus receives the requests.
class tst_FileManager : public QObject {
    Q_OBJECT

private:
    std::vector<std::pair<QString, QVariantList>> callsWithin(const PrivateBus& bus, int ms) {
        QElapsedTimer waited;
        waited.start();
        std::vector<std::pair<QString, QVariantList>> calls;
        while (waited.elapsed() < ms && calls.empty()) {
            QTest::qWait(50);
            calls = bus.mockCalls(service, path);
        }
        return calls;
    }

private Q_SLOTS:
    void showsFilesSelectedInTheirFolder() {
        TestEnvironment environment;
        PrivateBus bus;
        QVERIFY(bus.startTemplate(QStringLiteral(NELVO_SOURCE_DIR) +
                                      QStringLiteral("/tests/support/dbusmock/file_manager.py"),
                                  service));
        const QStringList files{environment.home() + QStringLiteral("/a movie.mov"),
                                environment.home() + QStringLiteral("/b.mov")};
        FileManager::showItems(files, bus.connection());
        const auto calls = callsWithin(bus, 5000);
        QCOMPARE(calls.size(), size_t(1));
        QCOMPARE(calls.front().first, QStringLiteral("ShowItems"));
        QCOMPARE(calls.front().second.value(0).toStringList(),
                 (QStringList{QUrl::fromLocalFile(files.at(0)).toString(),
                              QUrl::fromLocalFile(files.at(1)).toString()}));
    }

    void showsAFolder() {
        TestEnvironment environment;
        PrivateBus bus;
        QVERIFY(bus.startTemplate(QStringLiteral(NELVO_SOURCE_DIR) +
                                      QStringLiteral("/tests/support/dbusmock/file_manager.py"),
                                  service));
        FileManager::showFolder(environment.home(), bus.connection());
        const auto calls = callsWithin(bus, 5000);
        QCOMPARE(calls.size(), size_t(1));
        QCOMPARE(calls.front().first, QStringLiteral("ShowFolders"));
        QCOMPARE(calls.front().second.value(0).toStringList(),
                 QStringList{QUrl::fromLocalFile(environment.home()).toString()});
    }

    void nothingToShowAsksNothing() {
        TestEnvironment environment;
        PrivateBus bus;
        QVERIFY(bus.startTemplate(QStringLiteral(NELVO_SOURCE_DIR) +
                                      QStringLiteral("/tests/support/dbusmock/file_manager.py"),
                                  service));
        FileManager::showItems({}, bus.connection());
        QVERIFY(callsWithin(bus, 500).empty());
    }
};

QTEST_MAIN(tst_FileManager)
#include "tst_FileManager.moc"
