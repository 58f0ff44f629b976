#pragma once

#include "SleepInhibitor.h"

#include <QDBusConnection>

// Keeps the computer awake with a logind "block" inhibitor on sleep and idle,
// held as the file descriptor logind hands out. Without logind (a container,
// a minimal system) Nelvo runs on and logs once that it cannot keep awake.
class LogindSleepInhibitor : public SleepInhibitor {
public:
    explicit LogindSleepInhibitor(QDBusConnection bus = QDBusConnection::systemBus());
    ~LogindSleepInhibitor() override;

    std::unique_ptr<Inhibition> begin(const QString& reason) override;

private:
    class LogindInhibition;

    void reportUnavailable(const QString& why);

    QDBusConnection bus_;
    // Shared with pending inhibitions so a late reply can still report.
    std::shared_ptr<bool> reported_ = std::make_shared<bool>(false);
};
