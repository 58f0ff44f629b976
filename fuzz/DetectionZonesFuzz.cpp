// A camera's detection zones as stored JSON.
#include "DetectionZones.h"
#include "FuzzInput.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::optional<DetectionZones> zones =
        DetectionZones::fromJson(FuzzInput::bytes(data, size));
    if (!zones) {
        return 0;
    }
    for (const QRectF& rect : zones->rects) {
        DetectionZones::contains(rect, 0.5, 0.5);
    }
    // Zones that decoded are written and read back unchanged.
    const std::optional<QByteArray> json = zones->toJson();
    if (json && DetectionZones::fromJson(*json) != zones) {
        std::abort();
    }
    return 0;
}
