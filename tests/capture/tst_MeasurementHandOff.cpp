#include "MeasurementHandOff.h"

#include <QTest>
#include <thread>
#include <vector>

class tst_MeasurementHandOff : public QObject {
    Q_OBJECT

    struct Delivered {
        int index;
        std::int64_t count;
        double level;
        double peak;
    };

private Q_SLOTS:
    // Measurements piling up before the main thread's turn arrive as one:
    // how many, the newest level and the highest.
    void measurementsAreCoalescedPerPipeline() {
        QObject context;
        std::vector<Delivered> delivered;
        MeasurementHandOff handOff(context,
                                   [&](int index, std::int64_t count, double level, double peak) {
                                       delivered.push_back({index, count, level, peak});
                                   });
        std::thread([&] {
            for (double level : {3.0, 9.0, 4.0}) {
                handOff.measured(1, level);
            }
            handOff.measured(0, 2.0);
        }).join();
        QVERIFY(delivered.empty());
        QTRY_COMPARE(delivered.size(), std::size_t(2));
        const auto second =
            std::find_if(delivered.begin(), delivered.end(), [](auto& d) { return d.index == 1; });
        QVERIFY(second != delivered.end());
        QCOMPARE(second->count, std::int64_t(3));
        QCOMPARE(second->level, 4.0);
        QCOMPARE(second->peak, 9.0);
    }

    void theNextTurnStartsAfresh() {
        QObject context;
        std::vector<Delivered> delivered;
        MeasurementHandOff handOff(context,
                                   [&](int index, std::int64_t count, double level, double peak) {
                                       delivered.push_back({index, count, level, peak});
                                   });
        handOff.measured(0, 8.0);
        QTRY_COMPARE(delivered.size(), std::size_t(1));
        handOff.measured(0, 1.0);
        QTRY_COMPARE(delivered.size(), std::size_t(2));
        QCOMPARE(delivered[1].count, std::int64_t(1));
        QCOMPARE(delivered[1].peak, 1.0);
    }
};

QTEST_GUILESS_MAIN(tst_MeasurementHandOff)
#include "tst_MeasurementHandOff.moc"
