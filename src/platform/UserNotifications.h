#pragma once

#include <QString>

// Shows notifications to the user at once. A notification with the same
// identifier as an earlier one replaces it.
class UserNotifications {
public:
    virtual ~UserNotifications() = default;
    virtual void post(const QString& identifier, const QString& title, const QString& body) = 0;
};
