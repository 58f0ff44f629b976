#include "TestVerification.h"

#include "MovieCheck.h"
#include "ScriptingCall.h"
#include "ScriptingCommand.h"
#include "ScriptingReply.h"
#include "ScriptingService.h"
#include "TestVerdict.h"

#include <QCoreApplication>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QEventLoop>
#include <QFileInfo>
#include <QTextStream>
#include <QTimer>
#include <optional>

namespace TestVerification {

namespace {

const QString service = QStringLiteral("io.nelvo.Nelvo");
const QString path = QStringLiteral("/io/nelvo/Nelvo");
// Longer than any test: the longest arming countdown, the wait for a first
// file, and a recording of the longest timeout.
constexpr int longestTestMs = (30 + 15 + 600 + 60) * 1000;

void printLine(const QString& text) {
    QTextStream(stdout) << text << '\n' << Qt::flush;
}

// Hears the end of the test, or Nelvo leaving the bus.
class TestEnd : public QObject {
    Q_OBJECT
public:
    explicit TestEnd(const QDBusConnection& bus) : bus_(bus) {
        bus_.connect(service, path, ScriptingService::interfaceName,
                     QStringLiteral("TestRecordingFinished"), this,
                     SLOT(testFinished(QDBusMessage)));
        auto* watcher = new QDBusServiceWatcher(service, bus_,
                                                QDBusServiceWatcher::WatchForUnregistration, this);
        connect(watcher, &QDBusServiceWatcher::serviceUnregistered, &loop_, &QEventLoop::quit);
        timeout_.setSingleShot(true);
        connect(&timeout_, &QTimer::timeout, &loop_, &QEventLoop::quit);
    }

    // The test's report; nothing when Nelvo left or the test never ended.
    std::optional<QVariantMap> wait() {
        if (!report_) {
            timeout_.start(longestTestMs);
            loop_.exec();
        }
        return report_;
    }

private Q_SLOTS:
    void testFinished(const QDBusMessage& message) {
        report_ = ScriptingReply::plain(message.arguments().value(0)).toMap();
        loop_.quit();
    }

private:
    QDBusConnection bus_;
    QEventLoop loop_;
    QTimer timeout_;
    std::optional<QVariantMap> report_;
};

TestVerdict verdictOf(const QVariantMap& report) {
    std::vector<TestVerdict::Movie> movies;
    for (const QVariant& entry : report.value(QStringLiteral("files")).toList()) {
        const QVariantMap file = entry.toMap();
        const QString moviePath = file.value(QStringLiteral("path")).toString();
        TestVerdict::Movie movie{QFileInfo(moviePath).fileName(), MovieCheck::read(moviePath),
                                 std::nullopt};
        if (file.contains(QStringLiteral("preRoll"))) {
            movie.preRollSeconds = file.value(QStringLiteral("preRoll")).toDouble();
        }
        movies.push_back(std::move(movie));
    }
    return TestVerdict(movies, report.value(QStringLiteral("preRollAsked")).toDouble(),
                       report.value(QStringLiteral("levels")).toMap(),
                       report.value(QStringLiteral("recordingFailure")).toMap());
}

}  // namespace

int run(const QDBusConnection& bus) {
    // Listening before asking, so the end of a short test cannot be missed.
    TestEnd end(bus);
    const ScriptingCall call =
        ScriptingCall::send(bus, ScriptingCall::methodCall(QStringLiteral("RecordTest")));
    if (!call.answered()) {
        printLine(call.failureText());
        return call.exitStatus();
    }
    printLine(call.arguments().value(0).toString());
    if (!call.arguments().value(1).toBool()) {
        return ScriptingCommand::refused;
    }
    const std::optional<QVariantMap> report = end.wait();
    if (!report) {
        //: nelvo test --verify: Nelvo quit or never ended the test
        printLine(QCoreApplication::translate("TestVerification",
                                              "Nelvo didn't finish the test recording."));
        return ScriptingCommand::failed;
    }
    const TestVerdict verdict = verdictOf(*report);
    for (const QString& line : verdict.lines()) {
        printLine(line);
    }
    return verdict.sound() ? ScriptingCommand::done : ScriptingCommand::refused;
}

}  // namespace TestVerification

#include "TestVerification.moc"
