#include "Defaults.h"
#include "TestEnvironment.h"

#include <unistd.h>
#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QThread>

class tst_Defaults : public QObject {
    Q_OBJECT

    static void writeFile(const QString& path, const QByteArray& contents) {
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        file.write(contents);
    }

private Q_SLOTS:
    void standardPathIsUnderTheConfigHome() {
        TestEnvironment env;
        QCOMPARE(Defaults::standardFilePath(), env.settingsFilePath());
    }

    void registeredDefaultsApplyOnlyWhereNothingIsStored() {
        QTemporaryDir dir;
        Defaults defaults(dir.filePath("Nelvo.conf"));
        defaults.registerDefaults({{"motionTriggerEnabled", true}, {"audioTriggerThreshold", 70}});
        QCOMPARE(defaults.boolValue("motionTriggerEnabled"), true);
        QCOMPARE(defaults.integer("audioTriggerThreshold"), 70);
        QVERIFY(!defaults.hasStoredValue("audioTriggerThreshold"));
        defaults.set("motionTriggerEnabled", false);
        defaults.set("audioTriggerThreshold", 20);
        QCOMPARE(defaults.boolValue("motionTriggerEnabled"), false);
        QCOMPARE(defaults.integer("audioTriggerThreshold"), 20);
        defaults.remove("audioTriggerThreshold");
        QCOMPARE(defaults.integer("audioTriggerThreshold"), 70);
    }

    void absentValuesReadAsNothing() {
        QTemporaryDir dir;
        Defaults defaults(dir.filePath("Nelvo.conf"));
        QCOMPARE(defaults.boolValue("missing"), false);
        QCOMPARE(defaults.integer("missing"), 0);
        QCOMPARE(defaults.real("missing"), 0.0);
        QVERIFY(!defaults.string("missing"));
        QVERIFY(!defaults.date("missing"));
        QVERIFY(!defaults.data("missing"));
        QVERIFY(!defaults.object("missing").isValid());
    }

    void valuesKeepTheirTypesAcrossTheFile() {
        QTemporaryDir dir;
        const QString path = dir.filePath("Nelvo.conf");
        const QDateTime when = QDateTime::fromMSecsSinceEpoch(1'790'000'000'123);
        const QByteArray json = R"({"windows":[{"days":[2,3],"start":1320,"end":390}]})";
        {
            Defaults defaults(path);
            defaults.set("preRollSeconds", 12);
            defaults.set("recordingsLimitGB", 2.5);
            defaults.set("armAtLogin", true);
            defaults.set("selectedCameraID", "usb-Camera_1234-video-index0");
            defaults.set("armedRecordLastSeen", when);
            defaults.set("scheduleWindows", json);
        }
        Defaults reread(path);
        QCOMPARE(reread.real("preRollSeconds"), 12.0);  // an integer read as a real number
        QCOMPARE(reread.integer("preRollSeconds"), 12);
        QCOMPARE(reread.integer("recordingsLimitGB"), 2);  // a real number read as an integer
        QCOMPARE(reread.real("recordingsLimitGB"), 2.5);
        QCOMPARE(reread.boolValue("armAtLogin"), true);
        QCOMPARE(reread.string("selectedCameraID"), QString("usb-Camera_1234-video-index0"));
        QCOMPARE(reread.date("armedRecordLastSeen"), when);
        QCOMPARE(reread.data("scheduleWindows"), json);
    }

    void keysWithSlashesRoundTripExactly() {
        QTemporaryDir dir;
        const QString path = dir.filePath("Nelvo.conf");
        const QString id = "/dev/v4l/by-id/usb-Cam\\era_%2F-video-index0";
        const QString key = "motionTriggerThreshold." + id;
        {
            Defaults defaults(path);
            defaults.set(key, 33);
            defaults.set("detectionZones." + id, QByteArray("[]"));
        }
        Defaults reread(path);
        QCOMPARE(reread.integer(key), 33);
        QCOMPARE(reread.data("detectionZones." + id), QByteArray("[]"));
        QVERIFY(!reread.hasStoredValue(
            "motionTriggerThreshold./dev/v4l/by-id/usb-Cam\\era_/-video-index0"));
        QCOMPARE(Defaults::keyFromFileKey(Defaults::fileKey(id)), id);
    }

    void writesAreAnnouncedOnTheMainThreadOnce() {
        QTemporaryDir dir;
        Defaults defaults(dir.filePath("Nelvo.conf"));
        QSignalSpy spy(&defaults, &Defaults::changed);
        QThread* announcedOn = nullptr;
        connect(&defaults, &Defaults::changed, this,
                [&] { announcedOn = QThread::currentThread(); });
        std::thread writer([&] {
            defaults.set("a", 1);
            defaults.set("b", 2);
        });
        writer.join();
        QTRY_COMPARE(spy.count(), 1);
        QCOMPARE(announcedOn, QThread::currentThread());
        QTest::qWait(300);  // the file write itself is not announced again
        QCOMPARE(spy.count(), 1);
    }

    void editsByAnotherProcessAreSeenAndAnnounced() {
        QTemporaryDir dir;
        const QString path = dir.filePath("Nelvo.conf");
        Defaults defaults(path);
        defaults.set("audioTriggerThreshold", 70);
        defaults.flush();
        QTest::qWait(200);
        QSignalSpy spy(&defaults, &Defaults::changed);
        // Another program rewrites the file the way editors do: a new file renamed over it.
        writeFile(path + ".new", "[General]\naudioTriggerThreshold=40\narmAtLogin=true\n");
        QVERIFY(QFile::remove(path));
        QVERIFY(QFile::rename(path + ".new", path));
        QTRY_VERIFY(spy.count() >= 1);
        QCOMPARE(defaults.integer("audioTriggerThreshold"), 40);
        QCOMPARE(defaults.boolValue("armAtLogin"), true);
    }

    void corruptFileReadsAsAbsentAndIsKept() {
        QTemporaryDir dir;
        const QString path = dir.filePath("Nelvo.conf");
        const QByteArray garbage(
            "[General]\narmAtLogin=true\n\x01\xff\xfe[[[=\n@Variant(\x00\x01\xff)\n", 48);
        writeFile(path, garbage);
        Defaults defaults(path);
        QVERIFY(QFile::exists(path + ".unreadable"));  // the user's file is kept as it was
        QCOMPARE(QFile(path + ".unreadable").size(), qint64(garbage.size()));
        defaults.registerDefaults({{"preRollSeconds", 5}});
        QCOMPARE(defaults.integer("preRollSeconds"), 5);
        defaults.set("timeoutValueInSeconds", 9);
        defaults.flush();
        Defaults reread(path);
        QCOMPARE(reread.integer("timeoutValueInSeconds"), 9);
        QCOMPARE(reread.boolValue("armAtLogin"), true);  // what could be read is not lost
    }

    void unreadableFileDoesNotCrashOrLoseTheFile() {
        if (geteuid() == 0) {
            QSKIP("root reads any file, so an unreadable settings file cannot be made here");
        }
        QTemporaryDir dir;
        const QString path = dir.filePath("Nelvo.conf");
        writeFile(path, "[General]\narmAtLogin=true\n");
        QFile::setPermissions(path, QFileDevice::WriteOwner);
        {
            Defaults defaults(path);
            QCOMPARE(defaults.boolValue("armAtLogin"), false);
            defaults.set("x", 1);
            QCOMPARE(defaults.integer("x"), 1);
        }
        QFile::setPermissions(path, QFileDevice::ReadOwner | QFileDevice::WriteOwner);
        Defaults reread(path);
        QCOMPARE(reread.boolValue("armAtLogin"), true);
    }
};

QTEST_GUILESS_MAIN(tst_Defaults)
#include "tst_Defaults.moc"
