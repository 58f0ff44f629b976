#include "MovieProbe.h"
#include "TestEnvironment.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QDBusReply>
#include <QDirIterator>
#include <QElapsedTimer>
#include <QFile>
#include <QImage>
#include <QProcess>
#include <QRegularExpression>
#include <QSettings>
#include <QStandardPaths>
#include <QTemporaryDir>
#include <QTest>
#include <csignal>

namespace {

struct Run {
    int exitCode = -1;
    QString output;
};

// Runs a program to its end, its output and errors together.
Run run(const QString& program, const QStringList& arguments, int timeoutMs = 120000,
        const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment()) {
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    if (!process.waitForFinished(timeoutMs)) {
        process.kill();
        process.waitForFinished();
        return {-1, QStringLiteral("%1 did not finish: %2")
                        .arg(program, QString::fromUtf8(process.readAll()))};
    }
    const int code = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    return {code, QString::fromUtf8(process.readAll())};
}

QStringList filesUnder(const QString& root) {
    QStringList found;
    QDirIterator it(root, QDir::Files | QDir::Hidden, QDirIterator::Subdirectories);
    while (it.hasNext()) {
        found << it.next().mid(root.size());
    }
    found.sort();
    return found;
}

// What an installed Nelvo consists of, relative to its prefix.
const QStringList expectedFiles{
    "/bin/nelvo",
    "/lib/systemd/user/nelvo.service",
    "/share/applications/io.nelvo.Nelvo.desktop",
    "/share/dbus-1/services/io.nelvo.Nelvo.service",
    "/share/doc/nelvo/changelog.gz",
    "/share/doc/nelvo/copyright",
    "/share/icons/hicolor/128x128/apps/io.nelvo.Nelvo.png",
    "/share/icons/hicolor/16x16/apps/io.nelvo.Nelvo.png",
    "/share/icons/hicolor/22x22/apps/io.nelvo.Nelvo.png",
    "/share/icons/hicolor/24x24/apps/io.nelvo.Nelvo.png",
    "/share/icons/hicolor/256x256/apps/io.nelvo.Nelvo.png",
    "/share/icons/hicolor/32x32/apps/io.nelvo.Nelvo.png",
    "/share/icons/hicolor/48x48/apps/io.nelvo.Nelvo.png",
    "/share/icons/hicolor/64x64/apps/io.nelvo.Nelvo.png",
    "/share/icons/hicolor/scalable/apps/io.nelvo.Nelvo.svg",
    "/share/icons/hicolor/symbolic/apps/io.nelvo.Nelvo-armed-symbolic.svg",
    "/share/icons/hicolor/symbolic/apps/io.nelvo.Nelvo-arming-symbolic.svg",
    "/share/icons/hicolor/symbolic/apps/io.nelvo.Nelvo-failed-symbolic.svg",
    "/share/icons/hicolor/symbolic/apps/io.nelvo.Nelvo-recording-symbolic.svg",
    "/share/icons/hicolor/symbolic/apps/io.nelvo.Nelvo-unarmed-symbolic.svg",
    "/share/man/man1/nelvo.1.gz",
    "/share/metainfo/io.nelvo.Nelvo.metainfo.xml",
};

const QString buildDir = QStringLiteral(NELVO_BUILD_DIR);

}  // namespace

// Nelvo installed the way a package installs it, and the package itself.
class tst_Installation : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(prefix_.isValid());
        const Run install =
            run(QStringLiteral(CMAKE_COMMAND), {"--install", buildDir, "--prefix", prefix_.path()});
        QVERIFY2(install.exitCode == 0, qPrintable(install.output));
    }

    void theInstalledTreeHoldsEveryFile() {
        const QStringList installed = filesUnder(prefix_.path());
        for (const QString& file : expectedFiles) {
            QVERIFY2(installed.contains(file), qPrintable(file + u'\n' + installed.join(u'\n')));
        }
        QCOMPARE(installed.size(), expectedFiles.size());
    }

    void theInstalledBinaryTellsItsVersion() {
        const Run version = run(prefix_.filePath("bin/nelvo"), {"--version"});
        QCOMPARE(version.exitCode, 0);
        QCOMPARE(version.output.trimmed(), QStringLiteral("Nelvo " NELVO_VERSION));
    }

    void theLauncherEntryIsValidAndStartsTheInstalledBinary() {
        const QString desktop = prefix_.filePath("share/applications/io.nelvo.Nelvo.desktop");
        const Run validate = run(QStringLiteral("desktop-file-validate"), {desktop});
        QVERIFY2(validate.exitCode == 0 && validate.output.trimmed().isEmpty(),
                 qPrintable(validate.output));
        const QSettings entry(desktop, QSettings::IniFormat);
        QCOMPARE(entry.value("Desktop Entry/Exec").toString(), QStringLiteral("nelvo"));
        QCOMPARE(entry.value("Desktop Entry/Icon").toString(), QStringLiteral("io.nelvo.Nelvo"));
        // The actions docks and panels offer, each a command of the installed binary.
        // Read as text: the settings reader takes ";" for a comment.
        QFile text(prefix_.filePath("share/applications/io.nelvo.Nelvo.desktop"));
        QVERIFY(text.open(QIODevice::ReadOnly));
        QVERIFY(QString::fromUtf8(text.readAll())
                    .split(u'\n')
                    .contains(QStringLiteral("Actions=arm;disarm;record-test;")));
        QCOMPARE(entry.value("Desktop Action arm/Name").toString(), QStringLiteral("Arm"));
        QCOMPARE(entry.value("Desktop Action disarm/Name").toString(), QStringLiteral("Disarm"));
        QCOMPARE(entry.value("Desktop Action record-test/Name").toString(),
                 QStringLiteral("Record a Test"));
        QCOMPARE(entry.value("Desktop Action record-test/Exec").toString(),
                 QStringLiteral("nelvo test"));
    }

    void theBusActivationFileAgreesWithTheLauncherEntryAndTheBinary() {
        const QSettings entry(prefix_.filePath("share/applications/io.nelvo.Nelvo.desktop"),
                              QSettings::IniFormat);
        QCOMPARE(entry.value("Desktop Entry/DBusActivatable").toString(), QStringLiteral("true"));
        const QSettings service(prefix_.filePath("share/dbus-1/services/io.nelvo.Nelvo.service"),
                                QSettings::IniFormat);
        // A D-Bus activatable entry is named after the bus name it is started by.
        QCOMPARE(service.value("D-BUS Service/Name").toString(), QStringLiteral("io.nelvo.Nelvo"));
        QCOMPARE(service.value("D-BUS Service/Exec").toString(), prefix_.filePath("bin/nelvo"));
    }

    // A launcher starts Nelvo by calling it on the session bus: the bus finds
    // the installed activation file, runs the installed binary, and Nelvo
    // answers once it owns its name.
    void theBusStartsTheInstalledNelvoWhenALauncherCallsIt() {
        TestEnvironment environment;
        QTemporaryDir busFolder;
        QFile config(busFolder.filePath("session.conf"));
        QVERIFY(config.open(QIODevice::WriteOnly));
        // The desktop's own session bus set-up, with the tree's activation files.
        config.write(QStringLiteral("<busconfig><include>/usr/share/dbus-1/session.conf</include>"
                                    "<servicedir>%1</servicedir></busconfig>")
                         .arg(prefix_.filePath("share/dbus-1/services"))
                         .toUtf8());
        config.close();
        QProcess daemon;
        daemon.start(QStringLiteral("dbus-daemon"),
                     {"--config-file=" + config.fileName(), "--nofork", "--print-address"});
        QVERIFY(daemon.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(daemon.canReadLine(), 10000);
        const QString address = QString::fromUtf8(daemon.readLine()).trimmed();
        {
            QDBusConnection bus = QDBusConnection::connectToBus(address, "activation");
            QVERIFY(bus.isConnected());
            QDBusMessage activate = QDBusMessage::createMethodCall(
                "io.nelvo.Nelvo", "/io/nelvo/Nelvo", "org.freedesktop.Application", "Activate");
            activate << QVariantMap();
            const QDBusMessage reply = bus.call(activate, QDBus::Block, 30000);
            QVERIFY2(reply.type() == QDBusMessage::ReplyMessage, qPrintable(reply.errorMessage()));
            const QDBusReply<uint> pid = bus.interface()->servicePid("io.nelvo.Nelvo");
            QVERIFY(pid.isValid());
            QCOMPARE(QFileInfo(QStringLiteral("/proc/%1/exe").arg(pid.value())).symLinkTarget(),
                     prefix_.filePath("bin/nelvo"));
            ::kill(static_cast<pid_t>(pid.value()), SIGTERM);
            QTRY_VERIFY_WITH_TIMEOUT(
                !bus.interface()->isServiceRegistered("io.nelvo.Nelvo").value(), 20000);
        }
        QDBusConnection::disconnectFromBus("activation");
        daemon.terminate();
        QVERIFY(daemon.waitForFinished(5000));
    }

    void theSoftwareCentreMetadataIsValid() {
        const QString metainfo = prefix_.filePath("share/metainfo/io.nelvo.Nelvo.metainfo.xml");
        const Run validate =
            run(QStringLiteral("appstreamcli"), {"validate", "--no-net", metainfo});
        QVERIFY2(validate.exitCode == 0, qPrintable(validate.output));
        QFile file(metainfo);
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(file.readAll());
        QVERIFY(text.contains(QStringLiteral("<binary>nelvo</binary>")));
        QVERIFY(text.contains(
            QStringLiteral("<launchable type=\"desktop-id\">io.nelvo.Nelvo.desktop")));
        QVERIFY(text.contains(QStringLiteral("<release version=\"" NELVO_VERSION "\"")));
    }

    // The software centre's screenshots are the pictures the project keeps in
    // docs/images, as its site publishes them, at their real sizes.
    void theScreenshotsAreThePicturesInTheDocs() {
        QFile file(prefix_.filePath("share/metainfo/io.nelvo.Nelvo.metainfo.xml"));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(file.readAll());
        static const QRegularExpression image(QStringLiteral(
            R"re(<image type="source" width="(\d+)" height="(\d+)">([^<]+)</image>)re"));
        const QString base = QStringLiteral(NELVO_SCREENSHOT_URL "/");
        int count = 0;
        for (const QRegularExpressionMatch& match : image.globalMatch(text)) {
            const QString url = match.captured(3);
            QVERIFY2(url.startsWith(base) && url.startsWith(QStringLiteral("https://")),
                     qPrintable(url));
            const QString picture =
                QStringLiteral(NELVO_SOURCE_DIR "/docs/images/") + url.mid(base.size());
            const QImage shown(picture);
            QVERIFY2(!shown.isNull(), qPrintable(picture));
            QCOMPARE(shown.size(), QSize(match.captured(1).toInt(), match.captured(2).toInt()));
            ++count;
        }
        QVERIFY(count >= 3);
        QVERIFY(text.contains(QStringLiteral("<screenshot type=\"default\">")));
    }

    void theManualPageDescribesTheOptions() {
        const Run man = run(QStringLiteral("sh"), {"-c", "gzip -dc \"$0\"",
                                                   prefix_.filePath("share/man/man1/nelvo.1.gz")});
        QCOMPARE(man.exitCode, 0);
        QVERIFY2(man.output.contains(QStringLiteral(".TH NELVO \"1\"")), qPrintable(man.output));
        for (const char* option : {"headless", "demo", "arm", "camera-file", "version"}) {
            // roff writes every hyphen of an option as "\\-".
            const QString roff = QStringLiteral("\\-\\-") +
                                 QString::fromLatin1(option).replace(u'-', QStringLiteral("\\-"));
            QVERIFY2(man.output.contains(roff), option);
        }
    }

    void theUserUnitRunsTheInstalledBinaryHeadless() {
        QSettings unit(prefix_.filePath("lib/systemd/user/nelvo.service"), QSettings::IniFormat);
        const QString exec = unit.value("Service/ExecStart").toString();
        QVERIFY2(exec.endsWith(QStringLiteral("/bin/nelvo --headless")), qPrintable(exec));
        QVERIFY(QFileInfo(exec.section(u' ', 0, 0)).isAbsolute());
    }

    // The installed binary with nothing of the build tree around it records
    // the demo scene's first crossing.
    void theInstalledBinaryRecordsHeadless() {
        TestEnvironment environment;
        QDir().mkpath(QFileInfo(environment.settingsFilePath()).path());
        QFile settings(environment.settingsFilePath());
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write("[General]\ntimeoutValueInSeconds=2\n");
        settings.close();

        // Opening at login was turned on by a run from a build folder.
        const QString autostart = environment.home() + "/.config/autostart/io.nelvo.Nelvo.desktop";
        QDir().mkpath(QFileInfo(autostart).path());
        QFile entry(autostart);
        QVERIFY(entry.open(QIODevice::WriteOnly));
        entry.write("[Desktop Entry]\nType=Application\nName=Nelvo\nExec=/tmp/gone/build/nelvo\n");
        entry.close();

        QProcessEnvironment processEnvironment = QProcessEnvironment::systemEnvironment();
        processEnvironment.insert(QStringLiteral("XDG_DATA_DIRS"), prefix_.filePath("share"));
        const QString path = prefix_.filePath("bin") + u':' + processEnvironment.value("PATH");
        processEnvironment.insert(QStringLiteral("PATH"), path);
        QProcess nelvo;
        nelvo.setProcessChannelMode(QProcess::MergedChannels);
        nelvo.setProcessEnvironment(processEnvironment);
        nelvo.setWorkingDirectory(environment.home());
        nelvo.start(prefix_.filePath("bin/nelvo"), {"--headless", "--demo", "--arm"});
        QVERIFY(nelvo.waitForStarted());
        QString output;
        const QRegularExpression finished(QStringLiteral("^Finished (.*\\.mov)$"),
                                          QRegularExpression::MultilineOption);
        QElapsedTimer waited;
        waited.start();
        while (!finished.match(output).hasMatch() && waited.elapsed() < 60000 &&
               nelvo.state() == QProcess::Running) {
            nelvo.waitForReadyRead(500);
            output += QString::fromUtf8(nelvo.readAll());
        }
        ::kill(static_cast<pid_t>(nelvo.processId()), SIGTERM);
        QVERIFY(nelvo.waitForFinished(30000));
        output += QString::fromUtf8(nelvo.readAll());
        QCOMPARE(nelvo.exitCode(), 0);
        const QRegularExpressionMatch movie = finished.match(output);
        QVERIFY2(movie.hasMatch(), qPrintable(output));
        // The installed Nelvo pointed the entry at itself, by the launcher's
        // program name, which resolves to the installed binary.
        const QSettings corrected(autostart, QSettings::IniFormat);
        const QString exec = corrected.value("Desktop Entry/Exec").toString();
        const QString program = exec.section(u' ', 0, 0);
        QCOMPARE(program, QStringLiteral("nelvo"));
        QCOMPARE(QStandardPaths::findExecutable(program, path.split(u':')),
                 prefix_.filePath("bin/nelvo"));

        const MovieProbe probe(movie.captured(1));
        QVERIFY2(probe.readable(), qPrintable(probe.errorText()));
        QCOMPARE(probe.codec(QStringLiteral("video")), QStringLiteral("h264"));
        QCOMPARE(probe.codec(QStringLiteral("audio")), QStringLiteral("aac"));
        QVERIFY(probe.firstFrameIsKeyframe());
    }

    // `make package`: a Debian package that holds the same tree and names the
    // GStreamer plugins Nelvo loads.
    void theDebianPackageHoldsTheTreeAndItsDependencies() {
        QTemporaryDir output;
        const Run package =
            run(QStringLiteral(CPACK_COMMAND),
                {"-G", "DEB", "--config", buildDir + "/CPackConfig.cmake", "-B", output.path()},
                300000);
        QVERIFY2(package.exitCode == 0, qPrintable(package.output));
        const QStringList debs = QDir(output.path()).entryList({"nelvo_*.deb"}, QDir::Files);
        QCOMPARE(debs.size(), 1);
        const QString deb = output.filePath(debs.first());

        const Run contents = run(QStringLiteral("dpkg-deb"), {"--contents", deb});
        QCOMPARE(contents.exitCode, 0);
        for (const QString& file : expectedFiles) {
            QVERIFY2(contents.output.contains(QStringLiteral(" ./usr") + file + u'\n'),
                     qPrintable(file + u'\n' + contents.output));
        }

        const Run depends = run(QStringLiteral("dpkg-deb"), {"--field", deb, "Depends"});
        QCOMPARE(depends.exitCode, 0);
        for (const char* plugins :
             {"gstreamer1.0-plugins-good", "gstreamer1.0-plugins-bad", "gstreamer1.0-plugins-ugly",
              "gstreamer1.0-libav", "gstreamer1.0-pulseaudio", "libqt6core6",
              "libgstreamer1.0-0"}) {
            QVERIFY2(depends.output.contains(QLatin1String(plugins)),
                     qPrintable(QString::fromLatin1(plugins) + u'\n' + depends.output));
        }

        const Run lintian =
            run(QStringLiteral("lintian"), {"--tag-display-limit", "0", deb}, 300000);
        const QStringList errors =
            lintian.output.split(u'\n').filter(QRegularExpression(QStringLiteral("^E: ")));
        QVERIFY2(errors.isEmpty(), qPrintable(lintian.output));

        QTemporaryDir extracted;
        QCOMPARE(run(QStringLiteral("dpkg-deb"), {"-x", deb, extracted.path()}).exitCode, 0);
        const Run version = run(extracted.filePath("usr/bin/nelvo"), {"--version"});
        QCOMPARE(version.exitCode, 0);
        QCOMPARE(version.output.trimmed(), QStringLiteral("Nelvo " NELVO_VERSION));
    }

private:
    QTemporaryDir prefix_;
};

QTEST_GUILESS_MAIN(tst_Installation)
#include "tst_Installation.moc"
