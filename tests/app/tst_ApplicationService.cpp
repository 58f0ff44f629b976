#include "PrivateBus.h"
#include "TestEnvironment.h"

#include <QDBusConnectionInterface>
#include <QProcess>
#include <QTest>
#include <csignal>

namespace {

const QString serviceName = QStringLiteral("io.nelvo.Nelvo");

QDBusMessage callApplication(const PrivateBus& bus, const QString& method,
                             const QVariantList& arguments) {
    return bus.call(serviceName, QStringLiteral("/io/nelvo/Nelvo"),
                    QStringLiteral("org.freedesktop.Application"), method, arguments);
}

}  // namespace

// One Nelvo per user, reachable through the desktop's application interface.
class tst_ApplicationService : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void aSecondLaunchShowsTheFirstAndLeaves() {
        TestEnvironment environment;
        PrivateBus bus;
        QVERIFY(bus.isRunning());
        QProcess first;
        first.setProcessChannelMode(QProcess::MergedChannels);
        first.start(QStringLiteral(NELVO_EXECUTABLE), {"--headless", "--demo"});
        QVERIFY(first.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(
            bus.connection().interface()->isServiceRegistered(serviceName).value(), 15000);

        QProcess second;
        second.setProcessChannelMode(QProcess::MergedChannels);
        second.start(QStringLiteral(NELVO_EXECUTABLE), {"--headless", "--demo"});
        QVERIFY(second.waitForFinished(15000));
        QCOMPARE(second.exitCode(), 0);
        QCOMPARE(QString::fromUtf8(second.readAll()).trimmed().split(u'\n').last(),
                 QStringLiteral("Nelvo is already running"));

        // The first was asked to show itself.
        QString output;
        QTRY_VERIFY_WITH_TIMEOUT(
            (output += QString::fromUtf8(first.readAll()))
                .contains(QStringLiteral(
                    "Nelvo is running without a window; its log is all there is to show")),
            10000);
        QCOMPARE(first.state(), QProcess::Running);
        ::kill(static_cast<pid_t>(first.processId()), SIGTERM);
        QVERIFY(first.waitForFinished(20000));
        QCOMPARE(first.exitCode(), 0);
    }

    void anActionItDoesNotHaveIsRefusedByName() {
        TestEnvironment environment;
        PrivateBus bus;
        QProcess nelvo;
        nelvo.start(QStringLiteral(NELVO_EXECUTABLE), {"--headless", "--demo"});
        QVERIFY(nelvo.waitForStarted());
        QTRY_VERIFY_WITH_TIMEOUT(
            bus.connection().interface()->isServiceRegistered(serviceName).value(), 15000);
        const QDBusMessage reply = callApplication(
            bus, QStringLiteral("ActivateAction"),
            {QStringLiteral("launch-rockets"), QVariant::fromValue(QVariantList()), QVariantMap()});
        QCOMPARE(reply.type(), QDBusMessage::ErrorMessage);
        QCOMPARE(reply.errorName(), QStringLiteral("org.freedesktop.DBus.Error.NotSupported"));
        QVERIFY(reply.errorMessage().contains(QStringLiteral("launch-rockets")));
        ::kill(static_cast<pid_t>(nelvo.processId()), SIGTERM);
        QVERIFY(nelvo.waitForFinished(20000));
    }
};

QTEST_GUILESS_MAIN(tst_ApplicationService)
#include "tst_ApplicationService.moc"
