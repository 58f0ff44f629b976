// The settings window's storage forecast over a folder of 10 000 recordings:
// the time to list the folder, which the window does anyway, and the time the
// forecast adds on top, with their ratio.
#include "FileOutputManager.h"
#include "MinuteRecordings.h"
#include "StorageForecast.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <vector>

namespace {

constexpr int count = 10000;
constexpr int rounds = 5;

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QTemporaryDir dir;
    const QDateTime start = QDateTime::currentDateTime().addDays(-7).addSecs(600);
    if (!dir.isValid() || !writeMinuteRecordings(dir.path(), start, count, 10 * 1024 * 1024)) {
        std::printf("MISSING storage forecast: could not make the folder\n");
        return 1;
    }
    const QDateTime at = start.addSecs(qint64(count) * 60);
    std::vector<double> listing;
    std::vector<double> forecast;
    for (int round = 0; round < rounds; ++round) {
        QElapsedTimer timer;
        timer.start();
        const QList<Recording> recordings = FileOutputManager(dir.path()).recordings();
        listing.push_back(timer.nsecsElapsed() / 1e6);
        timer.restart();
        const QString text = StorageForecast::text(recordings, at, 100);
        forecast.push_back(timer.nsecsElapsed() / 1e6);
        if (recordings.size() != count || text.isEmpty()) {
            std::printf("MISSING storage forecast: %lld recordings listed\n",
                        static_cast<long long>(recordings.size()));
            return 1;
        }
    }
    std::printf("storage_listing_10000_ms: %.2f ms\n", median(listing));
    std::printf("storage_forecast_10000_ms: %.2f ms\n", median(forecast));
    std::printf("storage_forecast_vs_listing_ratio: %.3f x\n", median(forecast) / median(listing));
    return 0;
}
