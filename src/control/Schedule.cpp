#include "Schedule.h"

#include "Defaults.h"
#include "SettingsKeys.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTime>
#include <cmath>

namespace {

constexpr int minutesPerDay = 24 * 60;

bool windowContains(const ScheduleWindow& window, int weekday, int minute) {
    if (window.isEmpty()) {
        return false;
    }
    if (!window.runsOverMidnight()) {
        return window.days.contains(weekday) && window.start <= minute && minute < window.end;
    }
    const int previousDay = weekday == 1 ? 7 : weekday - 1;
    return (window.days.contains(weekday) && minute >= window.start) ||
           (window.days.contains(previousDay) && minute < window.end);
}

int minuteOfDay(const QDateTime& date) {
    const QTime time = date.time();
    return time.hour() * 60 + time.minute();
}

// A JSON number that is a whole number fitting an int, as the stored form requires.
std::optional<int> wholeNumber(const QJsonValue& value) {
    if (!value.isDouble()) {
        return std::nullopt;
    }
    const double number = value.toDouble();
    if (number != std::floor(number) || number < -2147483648.0 || number > 2147483647.0) {
        return std::nullopt;
    }
    return static_cast<int>(number);
}

std::optional<ScheduleWindow> windowFromJson(const QJsonValue& value) {
    if (!value.isObject()) {
        return std::nullopt;
    }
    const QJsonObject object = value.toObject();
    const auto start = wholeNumber(object.value(u"start"));
    const auto end = wholeNumber(object.value(u"end"));
    if (!start || !end || !object.value(u"days").isArray()) {
        return std::nullopt;
    }
    ScheduleWindow window{{}, *start, *end};
    for (const QJsonValue& day : object.value(u"days").toArray()) {
        const auto number = wholeNumber(day);
        if (!number) {
            return std::nullopt;
        }
        window.days.insert(*number);
    }
    return window;
}

}  // namespace

int Schedule::weekday(const QDate& date) {
    return date.dayOfWeek() % 7 + 1;
}

QDateTime Schedule::atMinutes(const QDate& day, int minutes) {
    const int days = minutes / minutesPerDay;
    const int rest = minutes % minutesPerDay;
    return QDateTime(day.addDays(days), QTime(rest / 60, rest % 60));
}

bool Schedule::contains(const QDateTime& date) const {
    const QDateTime local = date.toLocalTime();
    const int day = weekday(local.date());
    const int minute = minuteOfDay(local);
    for (const ScheduleWindow& window : windows) {
        if (windowContains(window, day, minute)) {
            return true;
        }
    }
    return false;
}

std::optional<QDateTime> Schedule::nextStart(const QDateTime& after) const {
    const QDate today = after.toLocalTime().date();
    std::optional<QDateTime> earliest;
    for (const ScheduleWindow& window : windows) {
        if (window.isEmpty() || window.days.empty()) {
            continue;
        }
        // Eight days, so that a window on today's weekday that has already
        // started is found again a week later.
        for (int offset = 0; offset <= 7; ++offset) {
            const QDate day = today.addDays(offset);
            if (!window.days.contains(weekday(day))) {
                continue;
            }
            const QDateTime candidate = atMinutes(day, window.start);
            if (candidate > after) {
                if (!earliest || candidate < *earliest) {
                    earliest = candidate;
                }
                break;
            }
        }
    }
    return earliest;
}

std::optional<QDateTime> Schedule::endOfCurrentWindow(const QDateTime& now) const {
    const QDateTime local = now.toLocalTime();
    const int day = weekday(local.date());
    const int minute = minuteOfDay(local);
    std::optional<QDateTime> latest;
    for (const ScheduleWindow& window : windows) {
        if (!windowContains(window, day, minute)) {
            continue;
        }
        const bool inFirstPart = window.runsOverMidnight() && minute >= window.start;
        const QDateTime end = atMinutes(local.date().addDays(inFirstPart ? 1 : 0), window.end);
        if (!latest || end > *latest) {
            latest = end;
        }
    }
    return latest;
}

Schedule Schedule::fromJson(const QByteArray& json) {
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError || !document.isObject() ||
        !document.object().value(u"windows").isArray()) {
        return {};
    }
    Schedule schedule;
    for (const QJsonValue& value : document.object().value(u"windows").toArray()) {
        const auto window = windowFromJson(value);
        if (!window) {
            return {};
        }
        schedule.windows.push_back(*window);
    }
    return schedule;
}

QByteArray Schedule::toJson() const {
    QJsonArray array;
    for (const ScheduleWindow& window : windows) {
        QJsonArray days;
        for (int day : window.days) {
            days.append(day);
        }
        array.append(
            QJsonObject{{u"days"_qs, days}, {u"start"_qs, window.start}, {u"end"_qs, window.end}});
    }
    return QJsonDocument(QJsonObject{{u"windows"_qs, array}}).toJson(QJsonDocument::Compact);
}

Schedule Schedule::load(const Defaults& defaults) {
    const auto data = defaults.data(SettingsKeys::scheduleWindows);
    return data ? fromJson(*data) : Schedule{};
}

void Schedule::save(Defaults& defaults) const {
    defaults.set(SettingsKeys::scheduleWindows, toJson());
}
