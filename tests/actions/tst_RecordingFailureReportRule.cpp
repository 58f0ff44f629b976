#include "ManagerFixture.h"
#include "RecordingFailureReport.h"

#include <QTest>

using namespace ManagerFixture;

namespace {

struct Told {
    QVariantMap fields;
    QString line;
};

}  // namespace

// When the failure record is told: a new failure and the end of the
// failures at once, a failure that only repeats once its minute is over.
class tst_RecordingFailureReportRule : public QObject {
    Q_OBJECT

private:
    std::optional<qint64> freeBytes_;

    // One recording that fails for lack of space, as Nelvo's triggers start them.
    static void failOnce(Fixture& f, Camera& camera) {
        f.manager->startRecordings({camera.target});
    }

private Q_SLOTS:
    void eachChangeIsToldOnceAndRepeatsOncePerMinute() {
        Fixture f;
        f.manager->freeSpace = [this] { return freeBytes_; };
        freeBytes_ = 100;
        RecordingFailureReport report(*f.manager);
        std::vector<Told> told;
        connect(&report, &RecordingFailureReport::told,
                [&](const QVariantMap& fields, const QString& line) {
                    told.push_back({fields, line});
                });
        Camera front("Front Door");
        f.armNow();

        failOnce(f, front);
        QCOMPARE(told.size(), 1u);
        QCOMPARE(told[0].fields.value("failure").toString(), QStringLiteral("diskFull"));
        QCOMPARE(told[0].fields.value("count").toLongLong(), 1);
        QCOMPARE(told[0].fields.value("at").toString(), f.clock.now().toString(Qt::ISODateWithMs));
        QCOMPARE(told[0].line, told[0].fields.value("notice").toString());

        // Repeats within the minute wait for its end, and are told once with their count.
        for (int i = 0; i < 5; ++i) {
            f.clock.advance(1s);
            failOnce(f, front);
        }
        QCOMPARE(told.size(), 1u);
        f.clock.advance(54s);
        QCOMPARE(told.size(), 1u);
        f.clock.advance(1s);
        QCOMPARE(told.size(), 2u);
        QCOMPARE(told[1].fields.value("count").toLongLong(), 6);
        f.clock.advance(120s);
        QCOMPARE(told.size(), 2u);  // nothing changed since

        // A minute after the last telling, a repeat is told at once.
        failOnce(f, front);
        QCOMPARE(told.size(), 3u);
        QCOMPARE(told[2].fields.value("count").toLongLong(), 7);

        // A recording that is saved ends the failures, told at once.
        freeBytes_ = 1LL << 40;
        f.clock.advance(1s);
        f.manager->startRecordings({front.target});
        f.manager->stopRecording();
        deliver(*front.recorder);
        QCOMPARE(told.size(), 4u);
        QVERIFY(told[3].fields.isEmpty());
        QCOMPARE(told[3].line, RecordingFailureReport::clearedText());
    }
};

QTEST_GUILESS_MAIN(tst_RecordingFailureReportRule)
#include "tst_RecordingFailureReportRule.moc"
