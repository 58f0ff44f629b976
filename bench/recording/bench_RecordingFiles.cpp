// Listing and choosing deletions over a recordings folder of 10 000 files,
// the work the main thread does after every recording when a limit is set.
#include "DiskBudget.h"
#include "FileOutputManager.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QFile>
#include <QTemporaryDir>
#include <cstdio>

namespace {

constexpr int fileCount = 10000;

// Movies with a still beside every other one, a few marked for frame loss;
// sizes are sparse so the folder costs no disk.
bool fillFolder(const QString& folder) {
    const QDateTime first(QDate(2025, 1, 1), QTime(0, 0, 0));
    for (int i = 0; i < fileCount; ++i) {
        const QDateTime start = first.addSecs(qint64(i / 2) * 97);
        QString name = FileOutputManager::recordingName(start, QStringLiteral("Front Door"),
                                                        QStringLiteral("Desk Mic"));
        const bool still = i % 2 == 1;
        if (!still && i % 50 == 0) {
            name += QStringLiteral(" - 3s missing");
        }
        QFile file(folder + u'/' + name +
                   (still ? QStringLiteral(".jpg") : QStringLiteral(".mov")));
        if (!file.open(QIODevice::WriteOnly) || !file.resize(still ? 200'000 : 30'000'000)) {
            return false;
        }
    }
    return true;
}

template <typename Work>
double microsecondsPerCall(int calls, Work work) {
    QElapsedTimer timer;
    timer.start();
    for (int i = 0; i < calls; ++i) {
        work();
    }
    return static_cast<double>(timer.nsecsElapsed()) / 1000.0 / calls;
}

}  // namespace

int main() {
    QTemporaryDir dir;
    if (!dir.isValid() || !fillFolder(dir.path())) {
        std::fprintf(stderr, "could not fill a temporary folder\n");
        return 1;
    }
    FileOutputManager manager(dir.path());
    QList<Recording> listed = manager.recordings();
    if (listed.size() != fileCount) {
        std::fprintf(stderr, "listed %lld of %d files\n", static_cast<long long>(listed.size()),
                     fileCount);
        return 1;
    }
    qint64 total = 0;
    for (const Recording& r : listed) {
        total += r.bytes;
    }
    // A limit that keeps three quarters, and one file of the newest recording in progress.
    const qint64 limit = total / 4 * 3;
    const QSet<QString> inProgress{listed.last().url};
    qsizetype chosen = 0;

    const double listing = microsecondsPerCall(20, [&] { listed = manager.recordings(); });
    const double choosing = microsecondsPerCall(
        20, [&] { chosen = DiskBudget::filesToDelete(listed, limit, inProgress).size(); });
    const double newest = microsecondsPerCall(20, [&] { (void)manager.newestRecording(); });

    std::printf("recordings_10000_files: %.2f ms\n", listing / 1000.0);
    std::printf("filesToDelete_10000_files: %.2f ms\n", choosing / 1000.0);
    std::printf("filesToDelete_10000_files_chosen: %lld files\n", static_cast<long long>(chosen));
    std::printf("newestRecording_10000_files: %.2f ms\n", newest / 1000.0);
    return 0;
}
