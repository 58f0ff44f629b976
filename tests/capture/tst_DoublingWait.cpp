#include "DoublingWait.h"

#include <QTest>
#include <vector>

using namespace std::chrono_literals;

class tst_DoublingWait : public QObject {
    Q_OBJECT

    static std::vector<std::chrono::milliseconds> waits(DoublingWait& wait, int count) {
        std::vector<std::chrono::milliseconds> taken;
        for (int i = 0; i < count; ++i) {
            taken.push_back(wait.next());
        }
        return taken;
    }

private Q_SLOTS:
    void eachWaitIsTwiceTheLastUpToTheLongest() {
        DoublingWait wait(1s, 60s);
        const std::vector<std::chrono::milliseconds> expected{1s, 2s, 4s, 8s, 16s, 32s, 60s, 60s};
        QCOMPARE(waits(wait, 8), expected);
    }

    void aLongestThatIsNoDoublingOfTheFirstIsReachedAndKept() {
        DoublingWait wait(500ms, 3s);
        const std::vector<std::chrono::milliseconds> expected{500ms, 1s, 2s, 3s, 3s};
        QCOMPARE(waits(wait, 5), expected);
    }

    void startingOverGivesTheFirstWaitAgain() {
        DoublingWait wait(1s, 30s);
        waits(wait, 6);
        wait.startOver();
        const std::vector<std::chrono::milliseconds> expected{1s, 2s};
        QCOMPARE(waits(wait, 2), expected);
    }
};

QTEST_GUILESS_MAIN(tst_DoublingWait)
#include "tst_DoublingWait.moc"
