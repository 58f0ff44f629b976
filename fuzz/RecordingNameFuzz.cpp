// Recording file names as they are found in a folder: the start date, the
// stem shared by a recording's files and the frame-loss mark.
#include "FileOutputManager.h"
#include "FuzzInput.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString name = FuzzInput::text(data, size);
    const std::optional<QDateTime> start = FileOutputManager::startDate(name);
    const QString stem = FileOutputManager::recordingStem(name);
    FileOutputManager::isMovie(name);
    if (start && !start->isValid()) {
        std::abort();  // a parsed name always gives a real moment
    }
    if (stem.size() > name.size()) {
        std::abort();  // a stem is a piece of the name
    }
    return 0;
}
