// The camera name the time-lapse reads from a recording's file name.
#include "FuzzInput.h"
#include "TimeLapse.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const QString name = FuzzInput::text(data, size);
    const std::optional<QString> camera = TimeLapse::cameraName(name);
    if (camera && camera->size() > name.size()) {
        std::abort();  // the name is a piece of the file name
    }
    return 0;
}
