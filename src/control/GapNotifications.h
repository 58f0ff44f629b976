#pragma once

#include <QDateTime>
#include <QObject>
#include <optional>

class RecordingManager;
class UserNotifications;

// Tells the user, as a notification, when Nelvo quit unexpectedly or was not
// watching while armed. Follows the recording manager's gap values; each new
// gap is posted once, and a later one of the same kind replaces it.
class GapNotifications : public QObject {
    Q_OBJECT

public:
    static inline const QString quitUnexpectedlyIdentifier = QStringLiteral("quit-unexpectedly");
    static inline const QString sleepGapIdentifier = QStringLiteral("sleep-gap");

    GapNotifications(RecordingManager& manager, UserNotifications& notifications,
                     QObject* parent = nullptr);

    static QString quitUnexpectedlyBody(const QDateTime& at, const QDateTime& until,
                                        const QDateTime& now);
    static QString sleepGapBody(const QDateTime& from, const QDateTime& to);

private:
    void gapsChanged();

    RecordingManager& manager_;
    UserNotifications& notifications_;
    std::optional<QDateTime> postedQuitUntil_;
    std::optional<QDateTime> postedGapUntil_;
};
