// The weekly schedule as stored JSON, and the questions asked of whatever it
// decoded to.
#include "FuzzInput.h"
#include "Schedule.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Schedule schedule = Schedule::fromJson(FuzzInput::bytes(data, size));
    const QDateTime now(QDate(2026, 3, 29), QTime(1, 30));
    schedule.contains(now);
    schedule.nextStart(now);
    schedule.endOfCurrentWindow(now);
    // What was decoded is written and read back unchanged.
    if (Schedule::fromJson(schedule.toJson()) != schedule) {
        std::abort();
    }
    return 0;
}
