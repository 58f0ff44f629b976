#include "NetworkCameraMeasureRate.h"

bool NetworkCameraMeasureRate::measure(std::int64_t time) {
    const bool startsOver = !started_ || time <= lastSeen_ || time - lastSeen_ > startOverAfter;
    // The next frame is expected one frame interval after this one.
    const std::int64_t interval = startsOver ? 0 : time - lastSeen_;
    lastSeen_ = time;
    started_ = true;
    if (startsOver || time - lastMeasured_ + interval > longestGap) {
        lastMeasured_ = time;
        return true;
    }
    return false;
}

void NetworkCameraMeasureRate::reset() {
    started_ = false;
}

bool NetworkCameraMeasureRate::isDisposable(const std::uint8_t* data, std::size_t size,
                                            int lengthSize, bool h265) {
    if (lengthSize < 1 || lengthSize > 4) {
        return false;
    }
    std::size_t at = 0;
    while (at + static_cast<std::size_t>(lengthSize) < size) {
        std::size_t length = 0;
        for (int i = 0; i < lengthSize; ++i) {
            length = (length << 8) | data[at + static_cast<std::size_t>(i)];
        }
        at += static_cast<std::size_t>(lengthSize);
        if (length == 0 || length > size - at) {
            return false;
        }
        const std::uint8_t header = data[at];
        if (h265) {
            const int type = (header >> 1) & 0x3f;
            // The first picture's slice decides: types 0-14 are ordinary
            // pictures, the even ones of them referenced by none.
            if (type <= 31) {
                return type <= 14 && type % 2 == 0;
            }
        } else {
            const int type = header & 0x1f;
            if (type == 1 || type == 5) {
                return (header & 0x60) == 0;
            }
        }
        at += length;
    }
    return false;
}
