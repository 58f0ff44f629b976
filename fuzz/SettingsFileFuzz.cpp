// The settings file as Nelvo reads it at start: any bytes in its place.
#include "Defaults.h"
#include "FuzzInput.h"
#include "SettingsKeys.h"

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>

namespace {

QCoreApplication* application() {
    static int argc = 1;
    static char name[] = "fuzz_SettingsFile";
    static char* argv[] = {name, nullptr};
    static QCoreApplication* app = new QCoreApplication(argc, argv);
    return app;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    application();
    static QTemporaryDir folder;
    const QString path = folder.filePath(QStringLiteral("Nelvo.conf"));
    QFile::remove(path + QStringLiteral(".unreadable"));
    {
        QFile file(path);
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
            return 0;
        }
        file.write(reinterpret_cast<const char*>(data), qint64(size));
    }
    Defaults defaults(path);
    // Every typed read of every key copes with whatever the file held.
    for (const QString& key :
         {SettingsKeys::timeoutValueInSeconds, SettingsKeys::motionTriggerThreshold,
          SettingsKeys::armedRecordLastSeen, SettingsKeys::scheduleWindows,
          SettingsKeys::recordingsFolderBookmark, SettingsKeys::selectedCameraID}) {
        defaults.boolValue(key);
        defaults.integer(key);
        defaults.real(key);
        defaults.string(key);
        defaults.date(key);
        defaults.data(key);
    }
    return 0;
}
